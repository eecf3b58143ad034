// What a technician wants to see first: problems, supplies, jobs and commands.
//
// The gateway says which groups are which. Within the groups of problems a property is a problem when
// its value says so: True, a number other than 0, or a text that isn't a way to say "none". A component
// whose program has ended is a problem too.

import { byId, make, setText, sync, valueText } from "./elements.js";
import { compareTexts } from "./order.js";

const kFine = new Set(["", "false", "0", "none", "ok", "no error", "no"]);

export const isProblem = (item) =>
  item.kind === "problem" && item.available && !kFine.has(item.value.trim().toLowerCase());

const isCommand = (item) => item.available && item.description.type === "command";

const byLabel = (one, other) => compareTexts(one.label, other.label);

function range(item) {
  const { minimum, maximum, unit } = item.description;
  if (minimum !== undefined && maximum !== undefined) {
    return [minimum, maximum];
  }
  return unit === "%" ? [0, 100] : null;
}

function makeTile(item, open) {
  const link = make("a", { href: `#${item.path}`, textContent: item.name });
  link.addEventListener("click", () => open(item));
  const tile = make("li", {}, link, make("b"));
  const ends = range(item);
  if (ends) {
    const [min, max] = ends;
    const meter = make("meter", { min, max, "aria-label": item.name });
    meter.low = min + (max - min) * 0.15;
    meter.optimum = max;
    tile.append(meter);
  }
  return tile;
}

function fillTile(tile, item) {
  setText(tile.querySelector("b"), valueText(item));
  const meter = tile.querySelector("meter");
  if (meter && !Number.isNaN(item.number)) {
    meter.value = item.number;
  }
}

/// Keeps a section of tiles for the properties that `fits`, and hides it while there are none.
function addTiles(model, section, list, fits, create, fill) {
  const kept = new Map();
  const selection = model.select(fits);
  let shown = 0;
  model.addView(() => {
    byId(section).hidden = selection.items.size === 0 || !model.loaded;
    if (shown !== selection.version) {
      shown = selection.version;
      sync(byId(list), [...selection.items].sort(byLabel), kept, create, fill);
    }
  });
}

/// Returns the problems to show: those that properties report, and components whose program has ended.
function problemsIn(reported, orphaned) {
  const problems = [...reported].sort(byLabel).map((item) => ({
    key: item.key, item, name: item.name,
    text: [item.value === "True" ? "" : valueText(item), item.description.text ?? ""].filter(Boolean).join(". "),
  }));
  const ended = new Map();
  for (const item of orphaned) {
    if (!ended.has(item.componentName)) {
      ended.set(item.componentName, []);
    }
    ended.get(item.componentName).push(item);
  }
  for (const [name, orphans] of ended) {
    const values = orphans.length === 1 ? "Its value is" : `Its ${orphans.length} values are`;
    problems.push({ key: `component ${name}`, item: orphans[0], name: `${name} has ended`, text: `${values} its last.` });
  }
  return problems;
}

function addProblems(model, open) {
  const kept = new Map();
  const reported = model.select(isProblem);
  const orphaned = model.select((item) => item.isOrphaned);
  let problems = [];
  let shown = "";
  const show = () => {
    problems = problemsIn(reported.items, orphaned.items);
    sync(byId("problem-list"), problems, kept,
      ({ item }) => {
        const link = make("a", { href: `#${item.path}` });
        link.addEventListener("click", () => open(item));
        return make("li", {}, link, " ", make("span"));
      },
      (row, problem) => {
        setText(row.querySelector("a"), problem.name);
        setText(row.querySelector("span"), problem.text);
      });
  };
  model.addView(() => {
    const present = `${reported.version} ${orphaned.version}`;
    if (shown !== present) {
      shown = present;
      show();
    }
    const isHubAway = model.about !== null && !model.about.hub.connected;
    byId("problems").classList.toggle("bad", problems.length > 0 || isHubAway);
    byId("no-problem").hidden = problems.length > 0 && !isHubAway;
    if (isHubAway) {
      setText(byId("no-problem"), "The hub isn't there. The values are those that it told last.");
    } else if (model.loaded) {
      setText(byId("no-problem"), "No problem is reported.");
    }
    setText(document.querySelector("title"), problems.length > 0 ? `(${problems.length}) Printer` : "Printer");
  });
}

export function addOverview(model, open, run) {
  const tile = (item) => makeTile(item, open);
  addProblems(model, open);
  addTiles(model, "supplies", "supply-list", (item) => item.kind === "supply" && item.available, tile, fillTile);
  addTiles(model, "jobs", "job-list", (item) => item.kind === "job" && item.available, tile, fillTile);
  addTiles(model, "commands", "command-list", isCommand,
    (item) => {
      const button = make("button", { type: "button", textContent: item.name });
      const result = make("small", { role: "status" });
      button.addEventListener("click", () => run(item, result));
      return make("li", {}, button, make("br"), result);
    },
    (row, item) => {
      const button = row.querySelector("button");
      button.disabled = !item.settable;
      button.title = item.settable ? item.description.text ?? "" : "This page may not run it";
    });
}
