// The large plot. The library that draws it is loaded when the first plot is opened, so that the page
// itself stays small.

import { make } from "./elements.js";

const kShortest = 10_000;

let library;

function loadLibrary() {
  library ??= new Promise((resolve, reject) => {
    document.head.append(make("link", { rel: "stylesheet", href: "dygraph.min.css" }));
    const script = make("script", { src: "dygraph.min.js" });
    script.addEventListener("load", () => {
      // Its legend writes styles into the page, which the content security policy forbids.
      const { Dygraph } = window;
      Dygraph.PLUGINS = Dygraph.PLUGINS.filter((plugin) => plugin !== Dygraph.Plugins.Legend);
      resolve(Dygraph);
    });
    script.addEventListener("error", reject);
    document.head.append(script);
  });
  return library;
}

const row = ([time, minimum, mean, maximum]) => [new Date(time), [minimum, mean, maximum]];

export class Plot {
  #rows = [];
  #graph = null;
  #window = [0, 0];
  /// The earliest time to show.
  #first = 0;
  #isDue = false;

  /// `onZoom` is called with the start and the end of a time that a person has chosen.
  constructor(element, onZoom) {
    this.element = element;
    this.onZoom = onZoom;
    // The colours are read when the plot is made, so it is made anew with others.
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => {
      this.#graph?.destroy();
      this.#graph = null;
    });
  }

  /// Shows points of time, minimum, mean and maximum. A mean of null is a gap. If `fits`, a time at the
  /// begin in which nothing is known is left out.
  async show(points, begin, end, fits) {
    const Dygraph = await loadLibrary();
    this.#rows = points.map(row);
    const first = points.find((point) => point[2] !== null)?.[0] ?? begin;
    this.#first = fits ? Math.min(first, end - kShortest) : begin;
    this.#window = [Math.max(begin, this.#first), end];
    if (this.#graph) {
      this.#update();
      return;
    }
    const colour = (name) => getComputedStyle(this.element).getPropertyValue(name);
    this.#graph = new Dygraph(this.element, this.#data(), {
      labels: ["time", "value"], customBars: true, stepPlot: true, dateWindow: this.#window,
      colors: [colour("--accent")], axisLineColor: colour("--line"), gridLineColor: colour("--line"),
      strokeWidth: 1.5, fillAlpha: 0.25, animatedZooms: false, axisLabelFontSize: 12, rightGap: 8,
      zoomCallback: (from, to) => this.onZoom(from, to),
    });
  }

  append(time, value) {
    if (this.#graph && time > (this.#rows.at(-1)?.[0].getTime() ?? 0)) {
      this.#rows.push(row([time, value, value, value]));
      this.#schedule();
    }
  }

  /// Moves the time that is shown.
  endAt(end, length) {
    this.#window = [Math.max(end - length, this.#first), end];
    this.#schedule();
  }

  #schedule() {
    if (!this.#isDue) {
      this.#isDue = true;
      setTimeout(() => {
        this.#isDue = false;
        if (this.#graph && !document.hidden) {
          this.#update();
        }
      }, 200);
    }
  }

  /// The rows, and the last value up to the end, because it holds.
  #data() {
    const begin = this.#window[0] - 2 * (this.#window[1] - this.#window[0]);
    while (this.#rows.length > 2 && this.#rows[1][0].getTime() < begin) {
      this.#rows.shift();
    }
    const last = this.#rows.at(-1);
    return last ? [...this.#rows, [new Date(Math.max(this.#window[1], last[0].getTime())), last[1]]]
      : [[new Date(this.#window[0]), [null, null, null]]];
  }

  #update() {
    this.#graph.updateOptions({ file: this.#data(), dateWindow: this.#window });
  }
}
