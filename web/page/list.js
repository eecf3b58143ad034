// Every property, by group or as one list.
//
// There may be thousands. Rows are made a few milliseconds at a time, so that the page stays responsive,
// and only rows that are in sight are updated when a value changes; the others when they come into sight.
// Beyond a number that nobody reads through, a search has to choose.

import { age, byId, make, setText, valueText } from "./elements.js";
import { drawSparkline, makeSparkline } from "./sparkline.js";

const kBudget = 8;
const kResort = 5000;
const kMostRows = 3000;
/// Groups that are for those who look for a fault in the software come last.
const kLast = ["Components", "Debug Zone"];

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
  #rows = new Map();
  #byElement = new WeakMap();
  #seen = new Set();
  #building = 0;
  #sorted = 0;

  constructor(model, open) {
    this.model = model;
    this.open = open;
    this.observer = new IntersectionObserver((entries) => this.#look(entries), { rootMargin: "200px" });
    model.addView((changed, hasOthers) => this.#update(changed, hasOthers));
    byId("search").addEventListener("input", () => this.#build());
    byId("sort").addEventListener("change", () => this.#build());
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
    if (hasOthers) {
      this.#build();
      return;
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
    if (byId("sort").value === "age" && isIdle && performance.now() - this.#sorted > kResort) {
      this.#build();
    }
  }

  #wanted() {
    const words = byId("search").value.toLowerCase().split(/\s+/).filter(Boolean);
    const items = this.model.shownItems().filter((item) => {
      const text = `${item.componentName} ${item.groupName} ${item.name}`.toLowerCase();
      return words.every((word) => text.includes(word));
    });
    const byName = (one, other) => one.name.localeCompare(other.name);
    switch (byId("sort").value) {
      case "name":
        return items.sort(byName);
      case "age":
        return items.sort((one, other) => other.changed - one.changed || byName(one, other));
      default:
        return items.sort((one, other) => kLast.indexOf(one.groupName) - kLast.indexOf(other.groupName)
          || one.groupName.localeCompare(other.groupName) || byName(one, other));
    }
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

  #forgetRows() {
    for (const [key, row] of this.#rows) {
      if (!this.model.items.has(key)) {
        this.observer.unobserve(row.element);
        this.#seen.delete(row);
        this.#rows.delete(key);
      }
    }
  }

  /// Puts the rows into the page in their order, over as many frames as that takes.
  async #build() {
    const turn = ++this.#building;
    this.#sorted = performance.now();
    this.#forgetRows();
    const wanted = this.#wanted();
    const items = wanted.slice(0, kMostRows);
    setText(byId("count"), `${wanted.length} of ${this.model.shownItems().length}`);
    byId("more").hidden = items.length === wanted.length;
    setText(byId("more"), `These are the first ${kMostRows}; a search finds the others.`);
    const isFlat = this.#isFlat;
    const holder = document.createDocumentFragment();
    let group;
    let rows;
    let begun = performance.now();
    for (const item of items) {
      if (!rows || (!isFlat && item.groupName !== group)) {
        group = item.groupName;
        rows = make("ul", { className: "group" });
        holder.append(...(isFlat ? [] : [make("h3", { textContent: group })]), rows);
      }
      rows.append(this.#rowOf(item).element);
      if (performance.now() - begun > kBudget) {
        await new Promise((resolve) => setTimeout(resolve));
        if (turn !== this.#building) {
          return;
        }
        begun = performance.now();
      }
    }
    const focused = byId("list").contains(document.activeElement) ? document.activeElement : null;
    byId("list").replaceChildren(holder);
    focused?.focus({ preventScroll: true });
  }
}
