// The functions of the playground that compose text, and the forms of the pages in HELP. Run by itself it prints the
// program of every method's first state as [key, source, calls, program, files].
import { readFileSync } from "node:fs";
import path from "node:path";
import { fileURLToPath } from "node:url";

const given = (file, names) => new Function(`${readFileSync(file, "utf8")}\nreturn {${names}}`)();

export const compose = given(
  fileURLToPath(new URL("../../Tools/playground/compose.js", import.meta.url)),
  "openingStep, stepsBefore, callText, command, program, fault, ends, found, told, highlighted",
);
const forms = given(path.join(process.env.HELP, "forms.js"), "playgroundForms").playgroundForms.methods;
const byKey = new Map(forms.map((form) => [form.key, form]));
export const formOf = (key) => byKey.get(key);
export { forms };

if (process.argv[1] === fileURLToPath(import.meta.url)) {
  const rows = [];
  for (const form of forms) {
    for (const overload of form.overloads.keys()) {
      const steps = [...compose.stepsBefore(form, formOf), compose.openingStep(form, overload)];
      const { text, files } = compose.program(form.source, steps);
      rows.push([form.key, form.source, steps.map(compose.callText), text, files]);
    }
  }
  console.log(JSON.stringify(rows));
}
