// Breaks within work that takes long.

const kBudget = 8;

/// Lets the browser draw and take input. It comes back faster than from a timer.
export function pause() {
  return new Promise((resolve) => {
    const { port1, port2 } = new MessageChannel();
    port1.onmessage = () => {
      port1.close();
      resolve();
    };
    port2.postMessage(null);
  });
}

/// Says when work has gone on for so long, in milliseconds, that a pause is due.
export class Breaks {
  #begun = performance.now();

  get isDue() {
    return performance.now() - this.#begun > kBudget;
  }

  async take() {
    await pause();
    this.#begun = performance.now();
  }
}
