// Puts the parts of the page together.

import { Detail } from "./detail.js";
import { byId } from "./elements.js";
import { addEvents } from "./events.js";
import { List } from "./list.js";
import { Model } from "./model.js";
import { addOverview } from "./overview.js";
import { runCommand } from "./setting.js";
import { follow, useToken } from "./stream.js";
import { addStrip } from "./strip.js";

/// Shows the form for the token, and waits until there is one.
function askForToken() {
  const form = byId("token");
  form.hidden = false;
  byId("token-text").focus();
  return new Promise((resolve) => {
    form.onsubmit = (event) => {
      event.preventDefault();
      useToken(byId("token-text").value);
      form.hidden = true;
      resolve();
    };
  });
}

/// Shows the page as a whole once the present values are in the list.
function showWhenListed(model, list) {
  const show = () => {
    byId("loading").hidden = list.isBuilt || model.connection === "refused";
    document.querySelector("main").classList.toggle("filling", !list.isBuilt);
  };
  model.addView(show);
  list.whenBuilt = show;
}

const model = new Model();
const detail = new Detail(model);
const open = (item) => detail.open(item);
addStrip(model);
addOverview(model, open, runCommand);
showWhenListed(model, new List(model, open));
addEvents(model);
follow(model, askForToken);
