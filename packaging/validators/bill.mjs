// Checks a software bill of materials against the schema of CycloneDX: node bill.mjs FILE
import { readFileSync } from "node:fs";
import { Validation } from "@cyclonedx/cyclonedx-library";

const text = readFileSync(process.argv[2], "utf8");
const errors = await new Validation.JsonStrictValidator("1.5").validate(text);
if (errors !== null) {
    console.error(errors);
    process.exit(1);
}
console.log(`${process.argv[2]}: valid CycloneDX 1.5`);
