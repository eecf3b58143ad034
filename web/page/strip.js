// The strip at the top: whether the page, the gateway and the hub are connected.

import { byId, setText } from "./elements.js";

function show(id, state, text) {
  const element = byId(id);
  element.dataset.state = state;
  setText(element.querySelector("b"), text);
}

export function addStrip(model) {
  const texts = {
    connecting: ["wait", "connecting"],
    live: ["good", "live"],
    lost: ["bad", "not connected, trying again"],
    refused: ["bad", "needs a token"],
  };
  let told = "";
  model.addView(() => {
    const isLive = model.connection === "live";
    show("state-page", ...texts[model.connection]);
    const hub = model.about?.hub;
    if (model.about) {
      show("state-gateway", isLive ? "good" : "bad",
        isLive ? `${model.about.version}, ${model.about.writes ? "reads and writes" : "reads only"}` : "not reached");
      show("state-hub", isLive ? (hub.connected ? "good" : "bad") : "wait",
        !isLive ? "not known" : hub.connected ? (hub.external ? "connected, as an external client" : "connected")
          : "not there, trying again");
    }
    const now = `${isLive} ${hub?.connected}`;
    if (told !== "" && told !== now) {
      setText(byId("announce"), !isLive ? "The connection to the gateway is lost."
        : hub?.connected ? "The hub is connected." : "The hub isn't there.");
    }
    told = now;
  });
}
