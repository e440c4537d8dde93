'use strict';
// Keeps this thread's event loop alive while anything holds it, as an open
// server or socket does: subscriptions and servers that are open and ref'd,
// and requests that wait for an answer. The module's own listeners do not
// (they are unref'd), so one long timer stands for all holders.
let holders = 0;
let timer = null;

function hold() {
  if (holders++ === 0) timer = setInterval(() => {}, 0x7fffffff);
}

function release() {
  if (--holders === 0) {
    clearInterval(timer);
    timer = null;
  }
}

// One holder: holds the loop while it is open and ref'd.
class LoopHold {
  #open = true;
  #refed = true;
  #holding = false;

  constructor(refed = true) {
    this.#refed = refed;
    this.#update();
  }

  ref() { this.#refed = true; this.#update(); }
  unref() { this.#refed = false; this.#update(); }
  hasRef() { return this.#refed; }
  close() { this.#open = false; this.#update(); }

  #update() {
    const wanted = this.#open && this.#refed;
    if (wanted === this.#holding) return;
    this.#holding = wanted;
    if (wanted) hold(); else release();
  }
}

module.exports = { LoopHold };
