// Sorting in parts, so that the page stays responsive while it orders very many properties.

import { pause } from "./breaks.js";

const kPart = 2000;
const collator = new Intl.Collator();

/// Compares two texts as a person would order them.
export const compareTexts = (one, other) => collator.compare(one, other);

/// Returns a sorted copy of the list, or nothing if `isWanted` becomes false. Pauses after each few
/// milliseconds of work.
export async function sorted(list, compare, isWanted) {
  let runs = [];
  for (let begin = 0; begin < list.length; begin += kPart) {
    runs.push(list.slice(begin, begin + kPart).sort(compare));
    if (list.length > kPart) {
      await pause();
    }
  }
  while (runs.length > 1 && isWanted()) {
    const merged = [];
    for (let place = 0; place < runs.length; place += 2) {
      merged.push(place + 1 < runs.length ? await merge(runs[place], runs[place + 1], compare) : runs[place]);
    }
    runs = merged;
  }
  return isWanted() ? runs[0] ?? [] : undefined;
}

async function merge(one, other, compare) {
  const result = [];
  let left = 0;
  let right = 0;
  while (left < one.length && right < other.length) {
    result.push(compare(one[left], other[right]) <= 0 ? one[left++] : other[right++]);
    if (result.length % kPart === 0) {
      await pause();
    }
  }
  return result.concat(one.slice(left), other.slice(right));
}
