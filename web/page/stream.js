// The connection to the gateway.
//
// The stream of changes is read with fetch and not with EventSource, because that can't send a token. It
// is taken up where it broke, with the id of the last event. A stream that is silent for longer than
// the gateway's signs of life allow is given up, because a network that has gone tells nobody.

import { Breaks } from "./breaks.js";

const kSilence = 40_000;
const kPauses = [250, 500, 1000, 2000, 4000];

let token = sessionStorage.getItem("token");

export function useToken(text) {
  token = text;
  sessionStorage.setItem("token", text);
}

/// Calls fetch with the token, if there is one.
export function request(path, options = {}) {
  const headers = { ...options.headers };
  if (token) {
    headers.Authorization = `Bearer ${token}`;
  }
  return fetch(path, { ...options, headers });
}

/// Divides the text of a stream into its events, and calls `take` with the name, the text and the id of
/// each.
export class EventParser {
  #rest = "";

  constructor(take) {
    this.take = take;
  }

  add(text) {
    const lines = (this.#rest + text).split("\n");
    this.#rest = lines.pop();
    for (const line of lines) {
      this.#line(line.endsWith("\r") ? line.slice(0, -1) : line);
    }
  }

  #event = {};

  #line(line) {
    if (line === "") {
      if (this.#event.data !== undefined) {
        this.take(this.#event);
      }
      this.#event = {};
      return;
    }
    const colon = line.indexOf(":");
    const name = line.slice(0, colon);
    const value = line.slice(line[colon + 1] === " " ? colon + 2 : colon + 1);
    if (name !== "") {
      this.#event[name] = name === "data" && this.#event.data !== undefined ? this.#event.data + "\n" + value : value;
    }
  }
}

/// Reads changes into the model for ever.
export async function follow(model, onRefused) {
  let lastId;
  for (let failures = 0; ; ++failures) {
    const giveUp = new AbortController();
    let timer;
    const watch = () => {
      clearTimeout(timer);
      timer = setTimeout(() => giveUp.abort(), kSilence);
    };
    try {
      watch();
      const headers = lastId === undefined ? {} : { "Last-Event-ID": lastId };
      const response = await request("api/changes", { headers, signal: giveUp.signal, cache: "no-store" });
      if (response.status === 401) {
        model.setConnection("refused");
        await onRefused();
        failures = -1;
        continue;
      }
      if (!response.ok) {
        throw new Error(response.statusText);
      }
      const parser = new EventParser((event) => {
        lastId = event.id ?? lastId;
        model.handle(event.event, JSON.parse(event.data));
      });
      model.setConnection("live");
      const decoder = new TextDecoder();
      const reader = response.body.getReader();
      const breaks = new Breaks();
      for (let part = await reader.read(); !part.done; part = await reader.read()) {
        watch();
        failures = -1;
        parser.add(decoder.decode(part.value, { stream: true }));
        if (breaks.isDue) {
          await breaks.take();
        }
      }
    } catch {
      // Whatever it was, the next attempt shows whether it lasts.
    }
    clearTimeout(timer);
    model.setConnection("lost");
    await new Promise((resolve) => setTimeout(resolve, kPauses[Math.min(Math.max(failures, 0), kPauses.length - 1)]));
  }
}
