// Every property, by group or as one list.
//
// There may be a hundred thousand. They are sorted and searched, and rows are made, a few milliseconds
// at a time, so that the page stays responsive; as properties come and go, the list is built the less
// often the longer that takes. Only rows that are in sight are updated when a value changes; the others
// when they come into sight. Beyond a number that nobody reads through, a search has to choose.

import { Breaks } from "./breaks.js";
import { age, byId, make, setText, valueText } from "./elements.js";
import { compareTexts, sorted } from "./order.js";
import { drawSparkline, makeSparkline } from "./sparkline.js";

/// How much longer than a build the pause before the next one is.
const kRest = 4;
const kResort = 5000;
const kMostRows = 3000;
/// Groups that are for those who look for a fault in the software come last.
const kLast = ["Components", "Debug Zone"];

const byName = (one, other) => compareTexts(one.name, other.name);
const kOrders = {
  name: byName,
  age: (one, other) => other.changed - one.changed || byName(one, other),
  group: (one, other) => kLast.indexOf(one.groupName) - kLast.indexOf(other.groupName)
    || compareTexts(one.groupName, other.groupName) || byName(one, other),
};

class Row {
  constructor(item, open) {
    this.item = item;
    this.name = make("a", { href: `#${item.path}` });
    this.name.addEventListener("click", () => open(item));
    this.value = make("span", { className: "value" });
    this.age = make("span", { className: "age" });
    this.spark = makeSparkline();
    this.element = make("li", { className: "row" }, this.name, this.value, this.spark, this.age);
    this.isSeen = false;
    this.shown = undefined;
  }

  draw(now, isFlat) {
    const { item } = this;
    setText(this.name, isFlat ? item.label : item.name);
    const text = valueText(item);
    if (this.shown !== undefined && this.shown !== text) {
      this.value.classList.remove("changed");
      requestAnimationFrame(() => this.value.classList.add("changed"));
    }
    this.shown = text;
    setText(this.value, text);
    this.element.classList.toggle("gone", !item.available || item.isOrphaned);
    drawSparkline(this.spark, item.samples, now);
    this.drawAge(now);
  }

  drawAge(now) {
    setText(this.age, age(this.item.changed, now));
  }
}

export class List {
  /// Whether all properties that were there at first are in the list.
  isBuilt = false;
  /// Called when that has become true.
  whenBuilt = () => {};

  #rows = new Map();
  #byElement = new WeakMap();
  #seen = new Set();
  #turn = 0;
  #isDue = false;
  #build = Promise.resolve();
  #builtAt = 0;
  /// How long the last build took, in milliseconds.
  #cost = 0;
  /// Grows when properties come, go or change their names.
  #members = 0;
  /// What the last build was of.
  #builtMembers = 0;
  /// The properties in the order of the last build.
  #sorted = {};
  /// The rows that are shown, and whether without groups.
  #shown = [];
  #wasFlat = false;

  constructor(model, open) {
    this.model = model;
    this.open = open;
    this.observer = new IntersectionObserver((entries) => this.#look(entries), { rootMargin: "200px" });
    model.addView((changed, hasOthers) => this.#update(changed, hasOthers));
    byId("search").addEventListener("input", () => this.#buildNow());
    byId("sort").addEventListener("change", () => this.#buildNow());
    setInterval(() => this.#tick(), 1000);
  }

  get #isFlat() {
    return byId("sort").value !== "group";
  }

  #look(entries) {
    const now = this.model.now();
    for (const entry of entries) {
      const row = this.#byElement.get(entry.target);
      row.isSeen = entry.isIntersecting;
      if (row.isSeen) {
        this.#seen.add(row);
        row.draw(now, this.#isFlat);
      } else {
        this.#seen.delete(row);
      }
    }
  }

  #update(changed, hasOthers) {
    this.#members += hasOthers ? 1 : 0;
    if (this.#members !== this.#builtMembers || !this.isBuilt) {
      this.#buildSoon();
    }
    const now = this.model.now();
    for (const item of changed) {
      const row = this.#rows.get(item.key);
      if (row?.isSeen) {
        row.draw(now, this.#isFlat);
      }
    }
  }

  #tick() {
    const now = this.model.now();
    for (const row of this.#seen) {
      row.drawAge(now);
    }
    const isIdle = !byId("list").contains(document.activeElement);
    if (byId("sort").value === "age" && isIdle && performance.now() - this.#builtAt > kResort) {
      this.#buildSoon();
    }
  }

  #buildNow() {
    this.#build = this.#buildAs(++this.#turn);
  }

  /// Builds after the build under way, and a pause.
  async #buildSoon() {
    if (this.#isDue || !this.model.loaded) {
      return;
    }
    this.#isDue = true;
    await this.#build;
    await new Promise((resolve) => setTimeout(resolve, kRest * this.#cost));
    this.#isDue = false;
    this.#buildNow();
  }

  /// Returns all properties in the order that is chosen, or nothing if this build is out of date.
  async #inOrder(isWanted) {
    const order = byId("sort").value;
    const members = this.#members;
    if (order === "age" || this.#sorted.order !== order || this.#sorted.members !== members) {
      const items = await sorted(this.model.shownItems(), kOrders[order], isWanted);
      if (items === undefined) {
        return undefined;
      }
      this.#sorted = { order, members, items };
    }
    return this.#sorted.items;
  }

  /// Returns those of the properties that the search finds.
  async #found(items, breaks) {
    const words = byId("search").value.toLowerCase().split(/\s+/).filter(Boolean);
    const found = [];
    for (const item of items) {
      if (words.every((word) => item.words.includes(word))) {
        found.push(item);
      }
      if (breaks.isDue) {
        await breaks.take();
      }
    }
    return found;
  }

  #rowOf(item) {
    let row = this.#rows.get(item.key);
    if (!row || row.item !== item) {
      row = new Row(item, this.open);
      this.#rows.set(item.key, row);
      this.#byElement.set(row.element, row);
      this.observer.observe(row.element);
    }
    row.draw(this.model.now(), this.#isFlat);
    return row;
  }

  /// Forgets the rows that aren't shown.
  #forgetRows(items) {
    const shown = new Set(items.map((item) => item.key));
    for (const [key, row] of this.#rows) {
      if (!shown.has(key)) {
        this.observer.unobserve(row.element);
        this.#seen.delete(row);
        this.#rows.delete(key);
      }
    }
  }

  /// Makes the list anew, over as many frames as that takes, unless another build begins meanwhile.
  async #buildAs(turn) {
    const begun = performance.now();
    const isWanted = () => turn === this.#turn;
    const breaks = new Breaks();
    const members = this.#members;
    const all = await this.#inOrder(isWanted);
    const found = isWanted() ? await this.#found(all, breaks) : [];
    const items = found.slice(0, kMostRows);
    const rows = [];
    while (isWanted() && rows.length < items.length) {
      rows.push(this.#rowOf(items[rows.length]));
      if (breaks.isDue) {
        await breaks.take();
      }
    }
    if (!isWanted()) {
      return;
    }
    setText(byId("count"), `${found.length} of ${all.length}`);
    byId("more").hidden = items.length === found.length;
    setText(byId("more"), `These are the first ${kMostRows}. The other ${found.length - kMostRows} are found by a `
      + "search for words of their name, group or component.");
    // A search whose next letter leaves nothing out changes nothing, and laying thousands of rows out
    // takes long.
    const isSame = members === this.#builtMembers && rows.length === this.#shown.length
      && rows.every((row, place) => row === this.#shown[place]) && this.#isFlat === this.#wasFlat;
    if (!isSame) {
      this.#show(rows);
      this.#forgetRows(items);
    }
    this.#builtMembers = members;
    this.#shown = rows;
    this.#wasFlat = this.#isFlat;
    this.#builtAt = performance.now();
    this.#cost = this.#builtAt - begun;
    if (!this.isBuilt && this.model.loaded) {
      this.isBuilt = true;
      this.whenBuilt();
    }
  }

  /// Puts the rows into the page, all at once, so that none is missing meanwhile.
  #show(rows) {
    const isFlat = this.#isFlat;
    const holder = document.createDocumentFragment();
    let group;
    let list;
    for (const { item, element } of rows) {
      if (!list || (!isFlat && item.groupName !== group)) {
        group = item.groupName;
        list = make("ul", { className: "group" });
        holder.append(...(isFlat ? [] : [make("h3", { textContent: group })]), list);
      }
      list.append(element);
    }
    for (const part of holder.querySelectorAll(".group")) {
      part.style.setProperty("--rows", part.childElementCount);
    }
    const focused = byId("list").contains(document.activeElement) ? document.activeElement : null;
    byId("list").replaceChildren(holder);
    focused?.focus({ preventScroll: true });
  }
}
