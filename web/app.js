// The page: a line goes to the calculator, the answer or the error comes back,
// and the events of the line are played back as the steps of the reduction.
"use strict";

const $ = (id) => document.getElementById(id);

// ---- Steps: one frame per Change or Change2 event, in the order raised ----

// An event marks characters about to be replaced or just produced, and does
// not say which. Most steps raise one event before and one after; some raise
// only the one before (pi, a comparison, a variable on the second chain), and
// numbers side by side one before for each. So each chain keeps the stretches
// of its text marked before a step and not yet answered, innermost last. An
// event shows characters just produced when its text is the chain's last text
// with one of those stretches (or the last few side by side) replaced by its
// marked characters, or when they lie within a change that touched the last of
// those stretches (a word power made into a group marks only a part of it).
// The second chain starts afresh after its closing event (length 0), which
// ends each worked-out formula.
function buildFrames(record) {
  const frames = [];
  let mainText = record.inString || record.line;
  const chains = { Change: { text: null, open: [] }, Change2: { text: null, open: [] } };
  for (const event of record.events) {
    const chain = chains[event.name];
    if (!chain) continue;
    const start = event.first - 1, end = start + event.length, last = chain.open.at(-1);
    let replaced = false;
    if (chain.text !== null && chain.text !== event.text) {
      const change = changeOf(chain.text, event.text);
      const answered = event.length > 0 ? answeredStretch(chain.open, change, start, end) : null;
      replaced = event.length > 0 && (answered !== null || (last !== undefined && last.from < change.to &&
        last.to > change.from && start >= change.from && end <= change.to + change.grown));
      chain.open = moveStretches(chain.open, answered || change, change.grown);
    }
    if (!replaced && event.length > 0) chain.open.push({ from: start, to: end });
    chain.text = event.text;
    if (event.name === "Change2" && event.length === 0) chains.Change2 = { text: null, open: [] };
    if (event.name === "Change") mainText = event.text;
    frames.push({ event, replaced, mainText });
  }
  return frames;
}

// Where `after` differs from `before`: characters from..to of `before`, and by
// how many characters the text grew.
function changeOf(before, after) {
  let from = 0, tail = 0;
  while (from < Math.min(before.length, after.length) && before[from] === after[from]) from++;
  while (tail < Math.min(before.length, after.length) - from && before.at(-1 - tail) === after.at(-1 - tail)) tail++;
  return { from, to: before.length - tail, grown: after.length - before.length };
}

// The open stretch, or run of them side by side up to the last, that holds the
// change and whose place in the new text is exactly start..end.
function answeredStretch(open, change, start, end) {
  for (let k = open.length - 1; k >= 0; k--) {
    const sideBySide = open.slice(k + 1).every((stretch, i) => stretch.from === open[k + i].to);
    const from = open[k].from, to = sideBySide ? open.at(-1).to : open[k].to;
    if (from <= change.from && to >= change.to && from === start && to + change.grown === end) return { from, to };
  }
  return null;
}

// The open stretches once characters from..to have been replaced by `grown`
// more: those inside are gone (answered, or replaced by a step that told only
// before it), one around them grows with them, those after them move.
function moveStretches(open, { from, to }, grown) {
  return open.filter((s) => s.to <= from || s.from >= to || (s.from <= from && s.to >= to && s.to - s.from > to - from))
    .map((s) => ({ from: s.from >= to ? s.from + grown : s.from, to: s.to <= from ? s.to : s.to + grown }));
}

// Writes `text` into `element` with characters first (1-based) for length marked.
function showMarked(element, text, first, length, markClass) {
  const start = Math.min(Math.max(first - 1, 0), text.length);
  const end = Math.min(start + Math.max(length, 0), text.length);
  const parts = [document.createTextNode(text.slice(0, start))];
  if (end > start) {
    const mark = document.createElement("span");
    mark.className = "mark " + markClass;
    mark.textContent = text.slice(start, end);
    parts.push(mark);
  }
  parts.push(document.createTextNode(text.slice(end)));
  element.replaceChildren(...parts);
}

const player = {
  frames: [],
  index: 0,
  timer: null,

  load(frames) {
    this.pause();
    this.frames = frames;
    this.index = 0;
    $("steps").hidden = frames.length === 0;
    if (frames.length) {
      this.show();
      this.play();
    }
  },

  show() {
    const frame = this.frames[this.index];
    const event = frame.event;
    const markClass = frame.replaced ? "replaced" : "consumed";
    const inFormula = event.name === "Change2";
    if (inFormula) {
      $("stepMain").textContent = frame.mainText;
      showMarked($("stepFormula"), event.text, event.first, event.length, markClass);
    } else {
      showMarked($("stepMain"), event.text, event.first, event.length, markClass);
    }
    $("formulaRow").hidden = !inFormula;
    $("stepCount").textContent = `step ${this.index + 1} of ${this.frames.length}`;
    $("back").disabled = this.index === 0;
    $("forward").disabled = this.index === this.frames.length - 1;
  },

  delay() {
    return 900 / Number($("speed").value);
  },

  play() {
    if (!this.frames.length) return;
    if (this.index === this.frames.length - 1) {
      this.index = 0;
      this.show();
    }
    clearInterval(this.timer);
    this.timer = setInterval(() => {
      if (this.index < this.frames.length - 1) {
        this.index++;
        this.show();
      }
      if (this.index === this.frames.length - 1) this.pause();
    }, this.delay());
    $("play").innerHTML = "&#10074;&#10074;";
    $("steps").classList.add("playing");
  },

  pause() {
    clearInterval(this.timer);
    this.timer = null;
    $("play").innerHTML = "&#9654;";
    $("steps").classList.remove("playing");
  },

  toggle() {
    if (this.timer) this.pause();
    else this.play();
  },

  step(by) {
    this.pause();
    const next = this.index + by;
    if (next < 0 || next >= this.frames.length) return;
    this.index = next;
    this.show();
  },
};

// ---- The answer ----

function showAnswer(record) {
  $("answer").hidden = false;
  $("answer").classList.toggle("wrong", record.errNumber !== 0 || record.failure !== null);
  const understood = $("understood");
  const value = $("value");
  const problem = $("problem");
  value.textContent = "";
  problem.textContent = "";

  if (record.failure) {
    understood.textContent = shortened(record.line);
    problem.textContent = `The calculator stopped this line: ${record.failure.message} (code ${record.failure.code}).`;
  } else if (record.errNumber !== 0) {
    // The error's place: in the line, or in the stored text of a formula word.
    const inFormula = record.errFormula !== "";
    const text = inFormula ? record.dnaString2 : record.inString || record.line;
    showError(understood, text, record.errFirst, record.errLength);
    const where = inFormula ? ` in the formula ${record.errFormula}` : "";
    problem.textContent = `${record.errDescription} (error ${record.errNumber})${where}, ` +
      `at character ${record.errFirst + 1}`;
  } else {
    understood.textContent = record.inString;
    value.textContent = record.outString;
  }
  $("note").textContent = record.expression;
}

// A line as long as a failure can make it is shown by its start.
function shortened(text) {
  return text.length > 200 ? text.slice(0, 200) + "…" : text;
}

// Underlines the characters of an error; an error of length 0 (the place where
// something is missing) is shown as a marked gap.
function showError(element, text, first, length) {
  const start = Math.min(Math.max(first, 0), text.length);
  const end = Math.min(start + Math.max(length, 0), text.length);
  const mark = document.createElement("span");
  mark.className = end > start ? "err" : "err gap";
  mark.textContent = end > start ? text.slice(start, end) : "\u00a0";
  element.replaceChildren(document.createTextNode(text.slice(0, start)), mark,
                          document.createTextNode(text.slice(end)));
}

// ---- Variables ----

const formulaKinds = { 2: "in XVar", 3: "in YVar", 4: "in XVar and YVar" };

function formatNumber(value) {
  return typeof value === "number" ? String(Number(value.toPrecision(15))) : String(value);
}

function showListing(listing) {
  $("unit").textContent = listing.angleUnit;
  const plain = [];
  const formulas = [];
  for (const variable of listing.variables) {
    const item = document.createElement("li");
    const name = document.createElement("b");
    name.textContent = variable.name;
    const text = document.createElement("code");
    if (variable.typeVar === 1) {
      const number = formatNumber(variable.value);
      text.textContent = variable.expression === number ? number : `${number} (${variable.expression})`;
      item.append(name, " = ", text);
      plain.push(item);
    } else {
      text.textContent = variable.expression;
      const kind = document.createElement("small");
      kind.textContent = formulaKinds[variable.typeVar] || "";
      item.append(name, " = ", text, " ", kind);
      formulas.push(item);
    }
  }
  $("variables").replaceChildren(...plain);
  $("formulas").replaceChildren(...formulas);
  $("variables").dataset.empty = plain.length ? "" : "none yet: 2+3=x makes x";
  $("formulas").dataset.empty = formulas.length ? "" : "none yet: XVar^2=sq makes sq";
}

// ---- History ----

const lineHistory = { lines: [], position: 0 };

function remember(record) {
  if (record.line !== lineHistory.lines[lineHistory.lines.length - 1]) lineHistory.lines.push(record.line);
  lineHistory.position = lineHistory.lines.length;
  const item = document.createElement("li");
  const line = document.createElement("code");
  line.textContent = record.line;
  const answer = document.createElement("span");
  answer.textContent = record.failure ? "failed" : record.outString;
  if (record.errNumber !== 0 || record.failure) item.className = "wrong";
  item.append(line, answer);
  item.addEventListener("click", () => {
    $("line").value = record.line;
    $("line").focus();
  });
  $("history").prepend(item);
}

function recall(by) {
  const next = lineHistory.position + by;
  if (next < 0 || next > lineHistory.lines.length) return;
  lineHistory.position = next;
  const input = $("line");
  input.value = lineHistory.lines[next] ?? "";
  input.setSelectionRange(input.value.length, input.value.length);
}

// ---- Asking for an unknown word ----

function askWord(word) {
  const dialog = $("ask");
  $("askWord").textContent = word;
  $("askValue").value = "";
  return new Promise((resolve) => {
    dialog.addEventListener("close", () => {
      const use = dialog.returnValue === "use";
      resolve(use ? $("askValue").value : null);
    }, { once: true });
    dialog.returnValue = "";
    dialog.showModal();
    $("askValue").focus();
  });
}

// ---- Putting it together ----

let morvex = null;

function setBusy(busy) {
  for (const id of ["line", "compute", "forget"]) $(id).disabled = busy;
  document.body.classList.toggle("busy", busy);
}

async function compute(line) {
  setBusy(true);
  try {
    const record = await morvex.calculate(line);
    showAnswer(record);
    player.load(buildFrames(record));
    showListing(record.listing);
    remember(record);
    $("line").value = "";
  } finally {
    setBusy(false);
    $("line").focus();
  }
}

function bindControls() {
  $("lineForm").addEventListener("submit", (event) => {
    event.preventDefault();
    const line = $("line").value;
    if (line.trim() !== "" && morvex) compute(line);
  });
  $("line").addEventListener("keydown", (event) => {
    if (event.key === "ArrowUp") recall(-1);
    else if (event.key === "ArrowDown") recall(1);
    else return;
    event.preventDefault();
  });
  $("play").addEventListener("click", () => player.toggle());
  $("back").addEventListener("click", () => player.step(-1));
  $("forward").addEventListener("click", () => player.step(1));
  $("speed").addEventListener("change", () => {
    if (player.timer) player.play();
  });
  $("steps").addEventListener("keydown", (event) => {
    if (event.key === "ArrowLeft") player.step(-1);
    else if (event.key === "ArrowRight") player.step(1);
    else return;
    event.preventDefault();
  });
  $("forget").addEventListener("click", () => {
    morvex.unloadVariables();
    showListing(morvex.listing());
    $("line").focus();
  });
}

async function start() {
  bindControls();
  try {
    morvex = await createMorvex({ askWord });
  } catch (error) {
    $("status").textContent = `The calculator could not start: ${error.message}`;
    throw error;
  }
  showListing(morvex.listing());
  $("status").textContent = "";
  $("status").hidden = true;
  setBusy(false);
  $("line").focus();
  document.body.dataset.ready = "true";
}

start();
