// What the page knows of the printer.
//
// The stream of changes fills it. Views are told at most once a frame, with all properties that have
// changed since, so their work doesn't grow with the rate of changes; while the page isn't visible they
// are told once a second. The last numbers of each property are kept for its small plot, at most
// one for each quarter of a second.

const kSamples = 60;
const kBetweenSamples = 250;

/// One property. Its members are those of the gateway, and what follows from them.
class Item {
  #words;

  constructor(key) {
    this.key = key;
    this.samples = [];
  }

  /// What a search looks at, in small letters.
  get words() {
    return this.#words ??= `${this.componentName} ${this.groupName} ${this.name}`.toLowerCase();
  }

  update(data) {
    Object.assign(this, data);
    if (data.name !== undefined) {
      this.#words = undefined;
    }
    if (data.time === undefined) {
      return;  // News of the owner alone.
    }
    this.description ??= {};
    this.changed = Date.parse(data.time);
    const number = this.value === "True" ? 1 : this.value === "False" ? 0 : Number(this.value);
    this.number = this.value.trim() === "" || !this.available ? NaN : number;
    if (!Number.isNaN(this.number)) {
      const last = this.samples.at(-1);
      if (last && this.changed - last.time < kBetweenSamples) {
        last.value = this.number;
      } else {
        this.samples.push({ time: this.changed, value: this.number });
        if (this.samples.length > kSamples) {
          this.samples.shift();
        }
      }
    }
  }

  /// Whether the program that owns the property has ended, so that its value may be old.
  get isOrphaned() {
    return this.available && this.owner?.presence === "gone";
  }

  get label() {
    return `${this.groupName}/${this.name}`;
  }

  get path() {
    return [this.component, this.group, this.guid].map(encodeURIComponent).join("/");
  }
}

const keyOf = (data) => JSON.stringify([data.component, data.group, data.guid]);

/// The properties that fit something, kept up to date, so that a view that shows a few of very many
/// needn't look at all of them.
class Selection {
  items = new Set();
  /// Grows with each change of these properties, and as they come and go.
  version = 0;

  constructor(fits) {
    this.fits = fits;
  }

  look(item, isThere) {
    if (isThere && this.fits(item)) {
      this.items.add(item);
      ++this.version;
    } else if (this.items.delete(item)) {
      ++this.version;
    }
  }
}

export class Model {
  items = new Map();
  /// The members of `about`, once the gateway has told them.
  about = null;
  /// "connecting", "live", "lost" or "refused".
  connection = "connecting";
  loaded = false;
  /// How far the gateway's clock is ahead of this machine's, in milliseconds.
  clockAhead = 0;

  #views = [];
  #selections = [];
  #changed = new Set();
  #hasOthers = false;
  #isDue = false;
  #seen = new Set();

  /// Adds a view: a function of the set of changed properties and of whether properties came or went.
  addView(view) {
    this.#views.push(view);
  }

  /// Returns the selection of the properties that fit from now on. Called before there are any.
  select(fits) {
    const selection = new Selection(fits);
    this.#selections.push(selection);
    return selection;
  }

  /// Returns the properties for people: heartbeats are for programs.
  shownItems() {
    return [...this.items.values()].filter((item) => item.kind !== "heartbeat");
  }

  /// Returns the property with this path, or nothing.
  find(path) {
    try {
      const [component, group, guid] = path.split("/").map(decodeURIComponent);
      return this.items.get(keyOf({ component, group, guid }));
    } catch {
      return undefined;  // It is no path.
    }
  }

  now() {
    return Date.now() + this.clockAhead;
  }

  setConnection(state) {
    this.connection = state;
    this.#notify();
  }

  handle(event, data) {
    switch (event) {
      case "begin":
        this.#learn(data.about);
        this.#seen = new Set();
        break;
      case "property":
      case "change":
        this.#update(data, event === "property");
        break;
      case "end":
        this.#forgetUnseen();
        this.loaded = true;
        break;
      case "owner":
        this.#update(data, false);
        break;
      case "hub":
        this.about = { ...this.about, hub: data };
        break;
    }
    this.#notify();
  }

  #learn(about) {
    this.about = about;
    this.clockAhead = Date.parse(about.time) - Date.now();
  }

  #update(data, isWhole) {
    const key = keyOf(data);
    let item = this.items.get(key);
    if (!item && !isWhole) {
      return;
    }
    if (!item) {
      item = new Item(key);
      this.items.set(key, item);
    }
    this.#hasOthers ||= isWhole;
    this.#seen.add(key);
    item.update(data);
    this.#changed.add(item);
    this.#selections.forEach((selection) => selection.look(item, true));
  }

  #forgetUnseen() {
    for (const [key, item] of this.items) {
      if (!this.#seen.has(key)) {
        this.items.delete(key);
        this.#selections.forEach((selection) => selection.look(item, false));
        this.#hasOthers = true;
      }
    }
  }

  #notify() {
    if (this.#isDue) {
      return;
    }
    this.#isDue = true;
    if (document.hidden) {
      setTimeout(() => this.#tell(), 1000);
    } else {
      requestAnimationFrame(() => this.#tell());
    }
  }

  #tell() {
    const changed = this.#changed;
    const hasOthers = this.#hasOthers;
    this.#changed = new Set();
    this.#hasOthers = false;
    this.#isDue = false;
    for (const view of this.#views) {
      view(changed, hasOthers);
    }
  }
}
