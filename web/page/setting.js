// Setting a value: the widget that fits the description, and the wait until the printer has the value.

import { byId, make } from "./elements.js";
import { request } from "./stream.js";

function show(result, state, text) {
  result.dataset.state = state;
  result.textContent = text;
}

/// Sends the value and waits for the answer, which the gateway gives when it has seen the value.
export async function send(item, value, result) {
  show(result, "wait", "Waiting for the printer …");
  try {
    const response = await request(`api/properties/${item.path}`, {
      method: "PUT",
      headers: { "Content-Type": "application/json" },
      body: JSON.stringify({ value }),
    });
    const answer = await response.json();
    if (response.ok) {
      show(result, "good", item.description.type === "command" ? "Done." : `It is ${answer.value} now.`);
    } else if (response.status === 504) {
      show(result, "bad", `The printer didn't take it in time; the value is ${item.value}.`);
    } else {
      show(result, "bad", `It was refused: ${answer.error ?? response.statusText}.`);
    }
  } catch {
    show(result, "bad", "The gateway can't be reached.");
  }
}

export const runCommand = (item, result) => send(item, "True", result);

function inputFor(item) {
  const { type, words, minimum, maximum, step } = item.description;
  const choices = words ?? (type === "bool" ? ["True", "False"] : null);
  if (choices) {
    const select = make("select", {}, ...choices.map((word) => make("option", { value: word, textContent: word })));
    select.value = item.value;
    return [select];
  }
  if (type !== "number") {
    return [make("input", { type: "text", value: item.value, autocomplete: "off" })];
  }
  const ends = { min: minimum ?? "", max: maximum ?? "", step: step ?? "any" };
  const number = make("input", { type: "number", ...ends, value: item.value, required: true, inputMode: "decimal" });
  if (minimum === undefined || maximum === undefined || maximum - minimum > 1e6) {
    return [number];
  }
  const slider = make("input", { type: "range", ...ends, value: item.value, "aria-label": `${item.name}, slider` });
  slider.addEventListener("input", () => { number.value = slider.value; });
  number.addEventListener("input", () => { slider.value = number.value; });
  return [number, slider];
}

/// Fills the form for a property; a property that can't be set has none.
export function fillSetting(item) {
  const form = byId("setting");
  const result = byId("setting-result");
  result.textContent = "";
  form.replaceChildren();
  form.hidden = !item.settable;
  if (form.hidden) {
    form.onsubmit = null;
    return;
  }
  if (item.description.type === "command") {
    form.append(make("button", { className: "strong", textContent: "Run" }));
    form.onsubmit = (event) => {
      event.preventDefault();
      runCommand(item, result);
    };
    return;
  }
  const inputs = inputFor(item);
  inputs[0].id = "setting-input";
  form.append(make("label", { for: "setting-input", textContent: "New value" }), ...inputs,
    make("button", { className: "strong", textContent: "Set" }));
  form.onsubmit = (event) => {
    event.preventDefault();
    send(item, inputs[0].value, result);
  };
}
