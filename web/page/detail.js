// One property large: its value, its past as a plot, and the form that sets it.
//
// The address names the property (#component/group/guid), so that a link or the browser's history leads
// back to it. The plot shows minimum, mean and maximum of about 400 steps of the time that is shown;
// zooming and moving, by dragging, by buttons or by keys, ask for that time anew. Where no history is
// recorded it shows the samples of the page.

import { age, byId, make, setText, valueText } from "./elements.js";
import { Plot } from "./plot.js";
import { fillSetting } from "./setting.js";
import { request } from "./stream.js";

const kRanges = [["10 min", 600], ["1 h", 3600], ["6 h", 21600], ["1 d", 86400], ["7 d", 604800], ["30 d", 2592000]];
const kSteps = 400;
const kShortest = 10;
/// Texts, keys, and what becomes of begin and end, in seconds, of which `end` may not pass the present.
const kMoves = [
  ["Earlier", "ArrowLeft", (begin, end) => [begin - (end - begin) / 2, end - (end - begin) / 2]],
  ["Later", "ArrowRight", (begin, end) => [begin + (end - begin) / 2, end + (end - begin) / 2]],
  ["Zoom in", "+", (begin, end) => [begin + (end - begin) / 4, end - (end - begin) / 4]],
  ["Zoom out", "-", (begin, end) => [begin - (end - begin) / 2, end + (end - begin) / 2]],
];

export class Detail {
  #item = null;
  #opener = null;
  #plot = new Plot(byId("plot"), (begin, end) => this.#load(begin / 1000, end / 1000));
  #range = 600;
  #question = 0;
  /// Whether the plot ends now, and not where somebody zoomed to.
  #follows = true;
  /// Begin and end of the time that is shown, in seconds.
  #shown = [0, 0];

  constructor(model) {
    this.model = model;
    byId("detail-close").addEventListener("click", () => this.close());
    document.addEventListener("keydown", (event) => {
      if (event.key === "Escape" && this.#item) {
        this.close();
      }
    });
    window.addEventListener("hashchange", () => this.#followAddress());
    this.#makeRanges();
    this.#makeMoves();
    model.addView((changed, hasOthers) => {
      if (hasOthers && !this.#item) {
        this.#followAddress();
      }
      if (this.#item && changed.has(this.#item)) {
        this.#draw();
        this.#append();
      }
    });
    setInterval(() => this.#tick(), 1000);
  }

  open(item) {
    this.#opener = document.activeElement;
    this.#show(item);
    byId("detail-title").focus();
  }

  close() {
    this.#item = null;
    byId("detail").hidden = true;
    history.replaceState(null, "", location.pathname);
    this.#mark();
    if (this.#opener?.isConnected) {
      this.#opener.focus();
    }
  }

  #followAddress() {
    const item = this.model.find(location.hash.slice(1));
    if (item && item !== this.#item) {
      this.#show(item);
    }
  }

  #show(item) {
    this.#item = item;
    byId("detail").hidden = false;
    byId("detail").scrollTop = 0;
    fillSetting(item);
    this.#mark();
    this.#draw();
    this.#zoom(this.#range);
  }

  /// Marks the rows of the list that lead to the property.
  #mark() {
    for (const link of document.querySelectorAll(".row a")) {
      link.setAttribute("aria-current", String(this.#item !== null && link.hash === `#${this.#item.path}`));
    }
  }

  #makeRanges() {
    for (const [text, seconds] of kRanges) {
      const button = make("button", { type: "button", textContent: text, "aria-pressed": String(seconds === this.#range) });
      button.addEventListener("click", () => this.#zoom(seconds));
      byId("ranges").append(button);
    }
  }

  #makeMoves() {
    for (const [text, key, move] of kMoves) {
      const button = make("button", { type: "button", textContent: text, title: `Key: ${key}` });
      button.addEventListener("click", () => this.#move(move));
      byId("moves").append(button);
    }
    byId("history").addEventListener("keydown", (event) => {
      const found = kMoves.find(([, key]) => key === event.key);
      if (found && !event.ctrlKey && !event.metaKey && !event.altKey) {
        event.preventDefault();
        this.#move(found[2]);
      }
    });
  }

  #move(move) {
    const now = this.model.now() / 1000;
    const [begin, end] = move(...this.#shown);
    const length = Math.min(Math.max(end - begin, kShortest), kRanges.at(-1)[1]);
    const last = Math.min(end, now);
    this.#load(last - length, last);
  }

  #draw() {
    const item = this.#item;
    setText(byId("detail-title"), item.name);
    setText(byId("detail-where"), `${item.groupName}, ${item.componentName}`);
    setText(byId("detail-value"), valueText(item));
    const allowed = item.description.minimum !== undefined && item.description.maximum !== undefined
      ? ` It goes from ${item.description.minimum} to ${item.description.maximum}.` : "";
    const { presence, why } = item.owner ?? {};
    setText(byId("detail-owner"), presence === "gone" ? `Its owner has ended, so the value may be old: ${why}.` : "");
    setText(byId("detail-text"), (item.description.text ?? "") + allowed);
    this.#drawAge();
  }

  #drawAge() {
    const ago = age(this.#item.changed, this.model.now());
    setText(byId("detail-age"), ago === "now" ? "changed just now" : `changed ${ago} ago`);
  }

  #tick() {
    if (this.#item) {
      this.#drawAge();
      if (this.#follows) {
        this.#plot.endAt(this.model.now(), this.#range * 1000);
        this.#shown = [this.model.now() / 1000 - this.#range, this.model.now() / 1000];
      }
    }
  }

  #append() {
    if (this.#follows && !Number.isNaN(this.#item.number)) {
      this.#plot.append(this.#item.changed, this.#item.number);
    }
  }

  #zoom(seconds) {
    this.#range = seconds;
    this.#follows = true;
    const end = this.model.now() / 1000;
    this.#load(end - seconds, end, true);
  }

  async #load(begin, end, follows = false) {
    this.#follows = follows;
    this.#shown = [begin, end];
    for (const [place, button] of [...byId("ranges").children].entries()) {
      button.setAttribute("aria-pressed", String(follows && kRanges[place][1] === this.#range));
    }
    const item = this.#item;
    const question = ++this.#question;
    const query = new URLSearchParams({
      component: item.component, group: item.group, guid: item.guid,
      since: begin.toFixed(3), until: end.toFixed(3), step: Math.max((end - begin) / kSteps, 0.001).toFixed(3),
    });
    let points = [];
    let isRecorded = false;
    try {
      const response = await request(`api/history?${query}`);
      if (response.ok) {
        isRecorded = true;
        points = (await response.json()).steps.map((step) => [Date.parse(step.time), step.minimum, step.mean, step.maximum]);
      }
    } catch {
      // Without an answer the samples of the page are shown.
    }
    if (question !== this.#question) {
      return;
    }
    if (follows) {
      const known = points.at(-1)?.[0] ?? 0;
      points.push(...item.samples.filter((sample) => sample.time > known)
        .map(({ time, value }) => [time, value, value, value]));
    }
    setText(byId("plot-text"), this.#summary(points, isRecorded));
    await this.#plot.show(points, begin * 1000, end * 1000, follows);
  }

  #summary(points, isRecorded) {
    const numbers = points.filter((point) => point[2] !== null);
    const source = isRecorded ? "" : " No history is recorded; these are the values since this page was opened.";
    if (numbers.length === 0) {
      return `There are no numbers to draw.${source}`;
    }
    const low = Math.min(...numbers.map((point) => point[1]));
    const high = Math.max(...numbers.map((point) => point[3]));
    const time = (moment) => new Date(moment).toLocaleString();
    return `Between ${low} and ${high}, from ${time(numbers[0][0])} to ${time(numbers.at(-1)[0])}. `
      + `Drag across the plot, or use the buttons or their keys, to see another time.${source}`;
  }
}
