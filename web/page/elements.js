// Small helpers for elements and texts.

export const byId = (id) => document.getElementById(id);

/// Returns a new element with these properties and children, which are elements or texts.
export function make(tag, properties = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (name.includes("-") || name === "for" || name === "role") {
      element.setAttribute(name, value);
    } else {
      element[name] = value;
    }
  }
  element.append(...children);
  return element;
}

/// Sets the text of an element. An equal text costs nothing.
export function setText(element, text) {
  if (element.textContent !== text) {
    element.textContent = text;
  }
}

/// Makes the elements of a list those of these items, in their order. `create` makes an element, and
/// `update` fills it; elements are kept in `kept`, a Map by key, so that the focus stays.
export function sync(parent, items, kept, create, update) {
  const wanted = new Set(items.map((item) => item.key));
  for (const [key, element] of kept) {
    if (!wanted.has(key)) {
      element.remove();
      kept.delete(key);
    }
  }
  let place = parent.firstElementChild;
  for (const item of items) {
    let element = kept.get(item.key);
    if (!element) {
      element = create(item);
      kept.set(item.key, element);
    }
    if (element === place) {
      place = place.nextElementSibling;
    } else {
      parent.insertBefore(element, place);
    }
    update(element, item);
  }
}

/// Returns how long ago a time was, such as "12 s" or "3 h".
export function age(time, now) {
  const seconds = Math.max(0, (now - time) / 1000);
  for (const [unit, length] of [["d", 86400], ["h", 3600], ["min", 60]]) {
    if (seconds >= length) {
      return `${Math.floor(seconds / length)} ${unit}`;
    }
  }
  return seconds < 2 ? "now" : `${Math.floor(seconds)} s`;
}

/// Returns the value of a property for a person, with its unit.
export function valueText(item) {
  if (!item.available) {
    return "gone";
  }
  const unit = item.description.unit;
  return unit && item.value !== "" ? `${item.value} ${unit}` : item.value;
}
