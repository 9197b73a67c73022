// The JavaScript API of the calculator, appended to the module's file.
//
//   const morvex = await createMorvex({ askWord });
//   const record = await morvex.calculate("2*(3+4)^2");
//
// askWord(word) is called when a line holds a word the calculator does not
// know; it returns (or resolves to) the word's value as text, or null to
// decline. calculate(line) resolves to the record of the line:
//   line, result, tText            the line, what Calculate returned, the line as understood
//   outString, inString, expression, stringTyping, stringVariable, dnaString,
//   dnaString2, scriptFailure      the calculator's properties after the line
//   errNumber, errDescription,
//   errFirst, errLength, errFormula the error (errFirst 0-based; errFormula
//                                  names the formula word whose text holds it)
//   events                         in order: {name: "Change" | "Change2", length,
//                                  first (1-based), text (DNAString or DNAString2
//                                  at that moment)}, {name: "InputBox", word,
//                                  answer}, {name: "UpdateVariables", percent}, ...
//   failure                        null, or {code, message} of a library failure
//   listing                        as listing() below, after the line
// listing() gives {angleUnit, variables: [{name, typeVar, value, expression}]},
// the user's variables in table order with the text of their stored chains.
//
// One line is computed at a time: a call while a line is still waiting for
// askWord is refused. The calculator counts one byte per character; characters
// beyond Latin-1 reach it as "?".
async function createMorvex(options = {}) {
  const askWord = options.askWord || (() => null);
  const module = await createMorvexModule({
    askWord: async (word) => askWord(word),
    print: options.print || (() => {}),
    printErr: options.printErr || ((text) => console.warn(text)),
  });
  let busy = false;

  const toBytes = (text) => {
    const bytes = new Uint8Array(text.length);
    for (let i = 0; i < text.length; i++) {
      const code = text.charCodeAt(i);
      bytes[i] = code < 256 ? code : 63;
    }
    return bytes;
  };

  return {
    async calculate(line) {
      if (busy) throw new Error("Morvex is still computing the previous line");
      busy = true;
      try {
        const text = String(line);
        const json = await module.ccall("mv_calculate", "string", ["array", "number"],
                                        [toBytes(text), text.length], { async: true });
        return JSON.parse(json);
      } finally {
        busy = false;
      }
    },
    listing() {
      if (busy) throw new Error("Morvex is still computing the previous line");
      return JSON.parse(module.ccall("mv_listing", "string", [], []));
    },
    unloadVariables() {
      if (busy) throw new Error("Morvex is still computing the previous line");
      module.ccall("mv_unload_variables", null, [], []);
    },
  };
}

if (typeof module === "object" && module.exports) module.exports.createMorvex = createMorvex;
