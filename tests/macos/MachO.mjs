// Reads what the checks need from a macOS executable: its architectures, libraries, symbols and signature. It reads the
// bytes itself, so it needs no tool of a Mac.
import { createHash } from "node:crypto";

const fatMagic = 0xcafebabe;
const magic64 = 0xfeedfacf;
const architectures = new Map([[0x01000007, "x86_64"], [0x0100000c, "arm64"]]);

const loadCommand = {
  symbolTable: 0x2, loadLibrary: 0xc, codeSignature: 0x1d, buildVersion: 0x32,
  weakLibrary: 0x80000018, reexportedLibrary: 0x8000001f,
};

/// The programs in the bytes of a universal file, each `{architecture, bytes}`.
export function slices(file) {
  if (file.readUInt32BE(0) !== fatMagic) throw new Error("not a universal file");
  return Array.from({ length: file.readUInt32BE(4) }, (_, index) => {
    const entry = 8 + index * 20;
    const offset = file.readUInt32BE(entry + 8);
    return {
      architecture: architectures.get(file.readUInt32BE(entry)),
      bytes: file.subarray(offset, offset + file.readUInt32BE(entry + 12)),
    };
  });
}

function textAt(bytes, offset) {
  return bytes.toString("utf8", offset, bytes.indexOf(0, offset));
}

/// 0xXXXXYYZZ as "X.Y", with ".Z" when it is not 0.
function version(packed) {
  const [major, minor, patch] = [packed >>> 16, (packed >>> 8) & 0xff, packed & 0xff];
  return `${major}.${minor}${patch === 0 ? "" : `.${patch}`}`;
}

/// The symbols that a library must provide, each with the number of that library in the list of loaded ones.
function undefinedSymbols(bytes, command) {
  const [symbols, count, strings] = [8, 12, 16].map((field) => bytes.readUInt32LE(command + field));
  const found = [];
  for (let entry = symbols; entry < symbols + count * 16; entry += 16) {
    const [type, description] = [bytes.readUInt8(entry + 4), bytes.readUInt16LE(entry + 6)];
    const [isUndefined, isDebugInformation] = [(type & 0x0e) === 0, (type & 0xe0) !== 0];
    if (!isUndefined || isDebugInformation) continue;
    found.push({ name: textAt(bytes, strings + bytes.readUInt32LE(entry)), library: description >>> 8 });
  }
  return found;
}

/// `{adHoc, pages, badPages}`: how many pages of the program the signature covers, and which of them have changed since.
function signature(bytes, command) {
  const start = bytes.readUInt32LE(command + 8);
  if (bytes.readUInt32BE(start) !== 0xfade0cc0) throw new Error("there is no embedded signature");
  const codeDirectory = Array.from({ length: bytes.readUInt32BE(start + 8) }, (_, index) => start + 12 + index * 8)
    .filter((entry) => bytes.readUInt32BE(entry) === 0)
    .map((entry) => start + bytes.readUInt32BE(entry + 4))[0];
  if (bytes.readUInt32BE(codeDirectory) !== 0xfade0c02) throw new Error("the signature has no code directory");

  const isAdHoc = (bytes.readUInt32BE(codeDirectory + 12) & 0x2) !== 0;
  const hashes = codeDirectory + bytes.readUInt32BE(codeDirectory + 16);
  const pages = bytes.readUInt32BE(codeDirectory + 28);
  const end = bytes.readUInt32BE(codeDirectory + 32);
  const [hashLength, hashType] = [bytes.readUInt8(codeDirectory + 36), bytes.readUInt8(codeDirectory + 37)];
  const pageLength = 1 << bytes.readUInt8(codeDirectory + 39);
  if (hashLength !== 32 || hashType !== 2) throw new Error("the signature's hashes are not SHA-256");

  const badPages = [];
  for (let page = 0; page < pages; ++page) {
    const content = bytes.subarray(page * pageLength, Math.min((page + 1) * pageLength, end));
    const expected = bytes.subarray(hashes + page * 32, hashes + (page + 1) * 32);
    if (!createHash("sha256").update(content).digest().equals(expected)) badPages.push(page);
  }
  return { isAdHoc, badPages, coversAll: end === start && pages === Math.ceil(end / pageLength) };
}

/// The facts about one program of a universal file.
export function describe(bytes) {
  if (bytes.readUInt32LE(0) !== magic64) throw new Error("not a 64-bit program");
  const program = { fileType: bytes.readUInt32LE(12), libraries: [] };
  let command = 32;
  for (let index = 0; index < bytes.readUInt32LE(16); ++index) {
    switch (bytes.readUInt32LE(command)) {
      case loadCommand.loadLibrary:
      case loadCommand.weakLibrary:
      case loadCommand.reexportedLibrary:
        program.libraries.push(textAt(bytes, command + bytes.readUInt32LE(command + 8)));
        break;
      case loadCommand.buildVersion:
        program.platform = bytes.readUInt32LE(command + 8);
        program.minimumSystem = version(bytes.readUInt32LE(command + 12));
        break;
      case loadCommand.symbolTable:
        program.undefinedSymbols = undefinedSymbols(bytes, command);
        break;
      case loadCommand.codeSignature:
        program.signature = signature(bytes, command);
        break;
    }
    command += bytes.readUInt32LE(command + 4);
  }
  return program;
}

/// The symbols that the text of a stub library exports for one architecture.
export function exportsOf(stub, architecture) {
  const names = new Set();
  for (const [, targets, lists] of stub.matchAll(/- targets:\s*\[([^\]]*)\](.*?)(?=- targets:|^\.\.\.|^---|$(?![\s\S]))/gms)) {
    if (!targets.split(/[\s,]+/).includes(`${architecture}-macos`)) continue;
    for (const [, kind, list] of lists.matchAll(/([a-z-]+):\s*\[([^\]]*)\]/g)) {
      const items = list.split(/[\s,]+/).filter((item) => item !== "").map((item) => item.replaceAll("'", ""));
      if (kind === "symbols" || kind === "weak-symbols") items.forEach((item) => names.add(item));
      if (kind === "objc-classes") items.forEach((item) => names.add(`_OBJC_CLASS_$_${item}`));
    }
  }
  return names;
}
