// The list of events: the latest changes, and what happened to the connections.

import { byId, make, valueText } from "./elements.js";

const kMost = 200;
const kInterval = 500;

export function addEvents(model) {
  let events = [];
  let isDirty = false;
  let connections = "";
  const isPaused = () => byId("pause").getAttribute("aria-pressed") === "true";
  const add = (time, text) => {
    events.push({ time, text });
    isDirty = true;
  };
  model.addView((changed) => {
    const now = model.connection === "live" ? (model.about?.hub.connected ? "the hub is connected" : "the hub isn't there")
      : "the gateway isn't reached";
    if (now !== connections) {
      connections = now;
      add(model.now(), now);
    }
    if (!isPaused()) {
      for (const item of changed) {
        if (item.origin !== "present" && item.kind !== "heartbeat") {
          add(item.changed, `${item.label}: ${valueText(item)}`);
        }
      }
      events = events.slice(-kMost);
    }
  });
  setInterval(() => {
    if (!isDirty || !byId("events").open || document.hidden || isPaused()) {
      return;
    }
    isDirty = false;
    byId("event-list").replaceChildren(...events.toReversed().map(({ time, text }) => {
      const clock = new Date(time).toLocaleTimeString();
      return make("li", {}, make("small", { textContent: clock }), ` ${text.slice(0, 200)}`);
    }));
  }, kInterval);
  byId("pause").addEventListener("click", () => {
    byId("pause").setAttribute("aria-pressed", String(!isPaused()));
  });
}
