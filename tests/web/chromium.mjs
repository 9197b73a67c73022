// A small driver of headless Chromium over its DevTools protocol on a pipe:
// Chromium reads commands on descriptor 3 and writes replies and events on 4,
// each a JSON message ended by a NUL byte. One page, its session flattened;
// `page.errors` gathers what the page logs as an error, throws or fails to load.
import { spawn } from "node:child_process";

const errorOf = {
  "Runtime.consoleAPICalled": ({ type, args }) =>
    type === "error" && args.map((arg) => arg.value ?? arg.description).join(" "),
  "Runtime.exceptionThrown": ({ exceptionDetails: e }) => e.exception?.description ?? e.text,
  "Log.entryAdded": ({ entry }) => entry.level === "error" && `${entry.text} ${entry.url ?? ""}`,
};

export async function openPage(executable, args) {
  const chromium = spawn(executable, [...args, "--remote-debugging-pipe"],
    { stdio: ["ignore", "ignore", "ignore", "pipe", "pipe"] });
  const [, , , commands, replies] = chromium.stdio;
  const waiting = new Map(), errors = [];
  let lastId = 0, received = Buffer.alloc(0), sessionId;
  const stop = (error) => { for (const call of waiting.values()) call.reject(error); waiting.clear(); };
  const ended = new Promise((done) => chromium.on("exit", done)).then(() => stop(new Error("Chromium ended")));
  for (const source of [chromium, commands]) source.on("error", stop);
  replies.on("data", (chunk) => {
    received = Buffer.concat([received, chunk]);
    for (let end; (end = received.indexOf(0)) >= 0; received = received.subarray(end + 1)) {
      const { id, method, params, result, error } = JSON.parse(received.subarray(0, end).toString());
      const call = waiting.get(id), logged = errorOf[method]?.(params);
      if (logged) errors.push(logged);
      if (!waiting.delete(id)) continue;
      if (error) call.reject(new Error(`${call.method}: ${error.message}`));
      else call.resolve(result);
    }
  });
  const send = (method, params = {}, session = sessionId) => new Promise((resolve, reject) => {
    waiting.set(++lastId, { method, resolve, reject });
    commands.write(JSON.stringify({ id: lastId, method, params, sessionId: session }) + "\0");
  });
  const { targetId } = await send("Target.createTarget", { url: "about:blank" });
  ({ sessionId } = await send("Target.attachToTarget", { targetId, flatten: true }));
  await Promise.all(["Runtime", "Page", "Log"].map((domain) => send(`${domain}.enable`)));

  const page = { send, errors,
    // Runs `fn(...args)` in the page and gives its value, awaited.
    async evaluate(fn, ...args) {
      const { result, exceptionDetails } = await send("Runtime.evaluate", { awaitPromise: true,
        returnByValue: true, expression: `(${fn})(...${JSON.stringify(args)})` });
      if (exceptionDetails) throw new Error(exceptionDetails.exception?.description ?? exceptionDetails.text);
      return result.value;
    },
    // Waits until `fn(...args)` holds in the page, for at most 30 seconds.
    waitFor: (fn, ...args) => page.evaluate(async (fn, args) => {
      for (const until = Date.now() + 30000; !(0, eval)(fn)(...args); await new Promise((go) => setTimeout(go, 20))) {
        if (Date.now() > until) throw new Error(`timed out waiting for ${fn}`);
      }
    }, String(fn), args),
    // Clicks the middle of an element with the mouse, `count` times (3 selects a field's text).
    async click(selector, count = 1) {
      const box = await page.evaluate((selector) => document.querySelector(selector).getBoundingClientRect().toJSON(),
        selector), x = box.x + box.width / 2, y = box.y + box.height / 2;
      for (let clickCount = 1; clickCount <= count; clickCount++) {
        await send("Input.dispatchMouseEvent", { type: "mousePressed", x, y, button: "left", clickCount });
        await send("Input.dispatchMouseEvent", { type: "mouseReleased", x, y, button: "left", clickCount });
      }
    },
    type: (text) => send("Input.insertText", { text }),
    // Presses and lets go a key: Enter (which types a return), Backspace or ArrowUp.
    async press(key) {
      const event = { key, code: key, windowsVirtualKeyCode: { Backspace: 8, Enter: 13, ArrowUp: 38 }[key] };
      await send("Input.dispatchKeyEvent", { ...event, type: "keyDown", text: key === "Enter" ? "\r" : "" });
      await send("Input.dispatchKeyEvent", { ...event, type: "keyUp" });
    },
    close: () => send("Browser.close", {}, undefined).catch(() => chromium.kill()).then(() => ended),
  };
  return page;
}
