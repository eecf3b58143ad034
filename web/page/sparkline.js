// Small plots of the last numbers of a property.

const kSvg = "http://www.w3.org/2000/svg";
const kWidth = 96;
const kHeight = 24;

export function makeSparkline() {
  const svg = document.createElementNS(kSvg, "svg");
  svg.setAttribute("viewBox", `0 0 ${kWidth} ${kHeight}`);
  svg.setAttribute("preserveAspectRatio", "none");
  svg.setAttribute("class", "spark");
  svg.setAttribute("aria-hidden", "true");
  svg.append(document.createElementNS(kSvg, "polyline"));
  return svg;
}

/// Draws the samples as steps, because a value holds until the next one.
export function drawSparkline(svg, samples, now) {
  let points = "";
  if (samples.length > 1) {
    let low = Infinity;
    let high = -Infinity;
    for (const { value } of samples) {
      low = Math.min(low, value);
      high = Math.max(high, value);
    }
    const begin = samples[0].time;
    const x = (time) => ((time - begin) / Math.max(now - begin, 1)) * kWidth;
    const y = (value) => kHeight - 2 - ((value - low) / (high - low || 1)) * (kHeight - 4);
    let before;
    for (const { time, value } of samples) {
      points += before === undefined ? "" : `${x(time).toFixed(1)},${before} `;
      before = y(value).toFixed(1);
      points += `${x(time).toFixed(1)},${before} `;
    }
    points += `${kWidth},${before}`;
  }
  svg.firstChild.setAttribute("points", points);
}
