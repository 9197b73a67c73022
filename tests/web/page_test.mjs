// Drives the web page in headless Chromium (through chromium.mjs): answers,
// errors and their underline, the steps played back against the calculator's
// own events, a formula word in the second row, the unknown-word prompt, the
// variables panel, the history, and both window sizes. Any console error fails
// the run. `node page_test.mjs PAGE_DIR OUT_DIR`: PAGE_DIR holds index.html and
// morvex.js; the screenshots go to OUT_DIR.
import { mkdtempSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import path from "node:path";
import { pathToFileURL } from "node:url";
import { openPage } from "./chromium.mjs";

const [pageDir, outDir] = process.argv.slice(2);
if (!outDir) throw new Error("usage: node page_test.mjs PAGE_DIR OUT_DIR");

const failures = [];
function check(condition, what, detail = "") {
  if (!condition) failures.push(`${what}${detail ? ": " + detail : ""}`);
}
const show = (value) => JSON.stringify(value);
// A run that hangs fails (Chromium ends with the pipe); a whole run takes seconds.
setTimeout(() => { console.error("FAIL the run took over two minutes"); process.exit(1); }, 120000).unref();

const profile = mkdtempSync(path.join(tmpdir(), "morvex-chromium-"));
let page;
try {
  page = await openPage(process.env.CHROMIUM || "/usr/bin/chromium", [`--user-data-dir=${profile}`,
    "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--hide-scrollbars",
    "--disable-background-networking", "--disable-component-update", "--disable-sync"]);
  async function screenshot(file, fullPage = false) {
    const { cssContentSize: { width, height } } = await page.send("Page.getLayoutMetrics");
    const { data } = await page.send("Page.captureScreenshot", fullPage
      ? { captureBeyondViewport: true, clip: { x: 0, y: 0, width, height, scale: 1 } } : {});
    writeFileSync(path.join(outDir, file), Buffer.from(data, "base64"));
  }

  const setViewport = (width, height, deviceScaleFactor = 1) =>
    page.send("Emulation.setDeviceMetricsOverride", { width, height, deviceScaleFactor, mobile: false });
  await setViewport(1280, 860);
  await page.send("Page.navigate", { url: pathToFileURL(path.join(pageDir, "index.html")).href });
  await page.waitFor(() => document.body?.dataset.ready === "true");

  // Types a line, presses Enter and waits until the line is in the history.
  async function compute(line) {
    const count = await page.evaluate(() => document.querySelectorAll("#history li").length);
    await page.click("#line", 3);
    await page.type(line);
    await page.press("Enter");
    await page.waitFor((n) => document.querySelectorAll("#history li").length > n, count);
  }
  const $eval = (selector, fn, ...args) => page.evaluate((selector, fn, args) =>
    (0, eval)(fn)(document.querySelector(selector), ...args), selector, String(fn), args);
  const text = (selector) => $eval(selector, (element) => element.textContent);
  const visible = (selector) => $eval(selector, (element) => element.getClientRects().length > 0);

  // A mark inside `selector`: the text before it, its own text and the row's.
  const marked = (selector, markSelector) => $eval(selector, (row, markSelector) => {
    const mark = row.querySelector(markSelector), range = document.createRange();
    if (!mark) return { text: row.textContent, before: null, mark: null };
    range.setStart(row, 0);
    range.setEndBefore(mark);
    return { text: row.textContent, before: range.toString(), mark: mark.textContent,
      replaced: mark.classList.contains("replaced") };
  }, markSelector);

  // Steps through every frame of the last line from the first and compares
  // each with the Change and Change2 events that the calculator raises for it.
  // Gives for each frame "p" if it showed characters just produced, else "c",
  // in upper case in the second row.
  async function checkFrames(line, events) {
    let replaced = "";
    const steps = events.filter((event) => event.name === "Change" || event.name === "Change2");
    if (await $eval("#steps", (element) => element.classList.contains("playing"))) await page.click("#play");
    while (!(await $eval("#back", (button) => button.disabled))) await page.click("#back");
    check(await text("#stepCount") === `step 1 of ${steps.length}`, `${line}: frame count`, await text("#stepCount"));
    for (const [i, event] of steps.entries()) {
      if (i > 0) await page.click("#forward");
      const inFormula = event.name === "Change2";
      check(await visible("#formulaRow") === inFormula, `${line}: frame ${i + 1} second row shown`, show(event));
      const { replaced: isReplaced, ...got } = await marked(inFormula ? "#stepFormula" : "#stepMain", ".mark");
      replaced += inFormula ? (isReplaced ? "P" : "C") : (isReplaced ? "p" : "c");
      const want = { text: event.text, before: event.length > 0 ? event.text.slice(0, event.first - 1) : null,
        mark: event.length > 0 ? event.text.substr(event.first - 1, event.length) : null };
      check(show(got) === show(want), `${line}: frame ${i + 1}`, `${show(got)} != ${show(want)}`);
    }
    check(await $eval("#forward", (button) => button.disabled), `${line}: last frame ends the steps`);
    return replaced;
  }
  // The events of a line, from the page's calculator itself.
  const eventsOf = (line) => page.evaluate(async (line) => (await morvex.calculate(line)).events, line);

  // An answer, with the trailing text.
  await compute("sin(30)+1.5E2=area rounded");
  check(await text("#value") === "150.5", "answer", await text("#value"));
  check(await text("#understood") === "Sin(30)+1.5E2", "line as understood", await text("#understood"));
  check(await text("#note") === "rounded", "trailing text", await text("#note"));
  check((await text("#variables")).includes("area = 150.5"), "target in the panel", await text("#variables"));

  // Errors: the underline sits on the offending characters of the line.
  for (const [line, before, offending, name] of [
    ["2+*3", "2+", "*", "OperatorBadPosition"],
    ["2,000+*3", "2,000+", "*", "OperatorBadPosition"],
  ]) {
    await compute(line);
    const got = await marked("#understood", ".err");
    check(got.before === before && got.mark === offending, `${line}: underline`, show(got));
    check((await text("#problem")).startsWith(name), `${line}: error name`, await text("#problem"));
    check(!(await visible("#steps")), `${line}: no steps for an error`);
  }

  // Number texts in and out of the WebAssembly build, as the calculator gives
  // them natively: [line, OutString, ErrNumber].
  for (const [line, outString, errNumber] of [
    ["1/3", "0.333333333333333", 0],
    ["0.1+0.2", "0.3", 0],
    ["2^0.5", "1.4142135623731", 0],
    ["1E-5*3", "0.00003", 0],
    ["-7/3", "-2.33333333333333", 0],
    ["123456789012345678", "123456789012345678", 0],
    ["2^-1074", "4.94065645841247E-324", 0],
    ["1E300*1E10", "1E+300*10000000000", 13],
  ]) {
    const record = await page.evaluate((line) => morvex.calculate(line), line);
    check(record.outString === outString && record.errNumber === errNumber, `${line}: number text`,
      `${record.outString} (error ${record.errNumber})`);
  }

  // The events of 2*(3+4)^2 as the calculator raises them natively: length, first, text.
  const powerEvents = await eventsOf("2*(3+4)^2");
  const expectedPowerEvents = [
    [5, 3, "2*(3+4)^2"], [3, 4, "2*(3+4)^2"], [1, 4, "2*(7)^2"], [1, 3, "2*7^2"],
    [3, 3, "2*7^2"], [2, 3, "2*49"], [4, 1, "2*49"], [2, 1, "98"],
  ].map(([length, first, text]) => ({ name: "Change", length, first, text }));
  check(show(powerEvents) === show(expectedPowerEvents), "2*(3+4)^2 events", show(powerEvents));

  // The reduction frame by frame, equal to the Change and Change2 events (a
  // formula word's in the second row, upper case); each frame shows characters
  // about to be consumed (c) or just produced (p). Most steps raise an event
  // before and one after; pi and a formula's variable one before only, numbers
  // side by side one before each; a word power's group is marked in part.
  await compute("XVar^2=sq");
  check((await text("#formulas")).includes("sq = XVar^2"), "formula in the panel", await text("#formulas"));
  await compute("XVar+PI=k");
  for (const [line, value, frames] of [
    ["2*(3+4)^2", "98", "ccppcpcp"],
    ["sq3+1", "10", "CCPCcpcp"],
    ["k1", "4.14159265358979", "CCCPCcp"],
    ["PI*2", "6.28318530717958", "ccp"],
    ["4(12)", "48", "cpccp"],
    ["sin^2(30)", "0.25", "cpcpccppcp"],
  ]) {
    await compute(line);
    check(await text("#value") === value, `${line}: answer`, await text("#value"));
    const got = await checkFrames(line, await eventsOf(line));
    check(got === frames, `${line}: consumed and produced frames`, got);
  }

  // A plain variable appears in the panel; a new value updates it.
  await compute("2+3=x");
  check((await text("#variables")).includes("x = 5 (2+3)"), "variable in the panel", await text("#variables"));
  await compute("7=x");
  check((await text("#variables")).includes("x = 7"), "variable updated", await text("#variables"));

  // An unknown word is asked in the page.
  await page.click("#line", 3);
  await page.type("r*2");
  await page.press("Enter");
  await page.waitFor(() => document.querySelector("#ask[open]"));
  check(await text("#askWord") === "r", "the prompt names the word", await text("#askWord"));
  await page.type("1.5");
  await page.press("Enter");
  await page.waitFor(() => document.querySelector("#history li code")?.textContent === "r*2");
  check(await text("#value") === "3", "r*2 with r = 1.5", await text("#value"));
  check((await text("#variables")).includes("r = 1.5"), "asked word in the panel", await text("#variables"));

  // A failure of the library reaches the page as a message; the variables stay.
  await compute("1+".repeat(20000) + "1");
  check(await text("#history li span") === "failed", "failure in the history", await text("#history li span"));
  check((await text("#problem")).includes("at most 32,767 cells (code 6)"), "failure shown", await text("#problem"));
  check((await text("#variables")).includes("r = 1.5"), "variables kept after a failure", await text("#variables"));
  await compute("r+1");
  check(await text("#value") === "2.5", "calculator usable after a failure", await text("#value"));

  // Up recalls the last line, twice the one before.
  await page.click("#line", 3);
  await page.press("Backspace");
  await page.press("ArrowUp");
  check(await $eval("#line", (input) => input.value) === "r+1", "Up recalls the last line");
  await page.press("ArrowUp");
  await page.press("ArrowUp");
  check(await $eval("#line", (input) => input.value) === "r*2", "Up again the lines before");

  // The screenshots show the steps of a line part way through.
  await compute("sin(30)*2+1.5E2=area");
  await page.click("#play");
  for (let i = 0; i < 5; i++) await page.click("#forward");
  await screenshot("web-page-desktop.png");

  // A phone-sized window: nothing wider than the screen.
  await setViewport(390, 844, 2);
  check(await page.evaluate(() => document.documentElement.scrollWidth <= window.innerWidth),
    "no sideways scrolling on a phone");
  await screenshot("web-page-phone.png", true);
} catch (error) {
  failures.push(`the run stopped: ${error.message}`);
} finally {
  await page?.close();
  rmSync(profile, { recursive: true, force: true });
}

for (const error of page?.errors ?? []) check(false, "console error", error);
if (failures.length) {
  for (const failure of failures) console.error(`FAIL ${failure}`);
  process.exit(1);
}
console.log("web page: all checks passed; screenshots in " + outDir);
