// Finds the places of a C++ source where a one-place fault can be put, and draws faults.
//
// Every place is as likely as any other. An operator, a number, a condition, a statement that can
// be left out, an element of a braced list and a text of whatever length are one place each.
// It reads tokens and the spaces that clang-format puts between them, not the language: what makes
// no sense is left to the compiler to refuse.

const token = new RegExp(
  [
    String.raw`(?<comment>//[^\n]*|/\*[^]*?\*/)`,
    String.raw`(?<directive>^[ \t]*#(?:\\\n|[^\n])*)`,
    String.raw`(?<text>R"(?<mark>\w*)\([^]*?\)\k<mark>"|"(?:\\.|[^"\\\n])*")`,
    String.raw`(?<letter>'(?:\\.|[^'\\\n])+')`,
    String.raw`(?<number>\.?\d(?:[eE][+-](?=\d)|'?[\w.])*)`,
    String.raw`(?<word>[A-Za-z_]\w*)`,
    String.raw`(?<sign><<=|>>=|<=>|->|::|\+\+|--|<<|>>|&&|\|\||[-+*/%&|^<>=!]=|[^\s\w])`,
  ].join("|"),
  "gm",
);

// Operators between spaces have two operands; without, they may be part of a type.
const otherBinary = {
  "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"],
  "==": ["!="], "!=": ["=="], "&&": ["||"], "||": ["&&"],
  "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["/"],
  "&": ["|"], "|": ["&"], "^": ["&"], "<<": [">>"], ">>": ["<<"],
  "+=": ["-="], "-=": ["+="], "*=": ["/="], "/=": ["*="], "|=": ["&="], "&=": ["|="],
};
const otherUnary = { "++": ["--"], "--": ["++"], "-": [""], "!": [""] };
const otherWords = { true: ["false"], false: ["true"], min: ["max"], max: ["min"] };

const assignments = ["=", "+=", "-=", "*=", "/=", "%=", "|=", "&=", "^=", "<<=", ">>="];
const brackets = { "(": ")", "[": "]", "{": "}" };

/** What the compiler reads, without directives; a bracket knows the index of the one closing it. */
function tokensOf(code) {
  const tokens = [];
  const open = [];
  for (const match of code.matchAll(token)) {
    const { comment, directive, mark, ...kinds } = match.groups;
    const kind = Object.keys(kinds).find((name) => kinds[name] !== undefined);
    if (kind === undefined) continue;
    const [is] = match;
    if (is in brackets) open.push(tokens.length);
    if (Object.values(brackets).includes(is) && open.length > 0) {
      tokens[open.pop()].closedBy = tokens.length;
    }
    tokens.push({ kind, is, from: match.index, to: match.index + is.length });
  }
  return tokens;
}

/** Whole numbers one more, one less and tenfold, others a tenth more or less and tenfold. */
function otherNumbers(number) {
  const [, digits, suffix] =
    number.replaceAll("'", "").match(/^(0[xX][\da-fA-F]+|[\d.]+(?:[eE][-+]?\d+)?)(\w*)$/) ?? [];
  if (digits === undefined) return [];
  if (/^(0[xX].*|\d+)$/.test(digits)) {
    const value = BigInt(digits);
    const others = [value + 1n, value - 1n, value * 10n];
    return others.filter((other) => other >= 0n && other !== value).map((other) => other + suffix);
  }
  const others = [1.1, 0.9, 10].map((factor) => Number((digits * factor).toPrecision(12)));
  return Number(digits) === 0
    ? [`1.0${suffix}`]
    : others.map((other) => other + (Number.isInteger(other) ? ".0" : "") + suffix);
}

function nextLetter(letter) {
  const next = { z: "a", Z: "A", 9: "0" }[letter] ?? String.fromCharCode(letter.charCodeAt(0) + 1);
  return /['"\\]/.test(next) ? "#" : next;
}

/** The elements, as [first, last), of the list that a brace opens; none when it opens a block. */
function elementsOf(tokens, brace) {
  const { closedBy } = tokens[brace];
  const elements = [];
  let first = brace + 1;
  for (let i = first; i <= closedBy; i = (tokens[i].closedBy ?? i) + 1) {
    if (tokens[i].is === ";") return [];
    if (tokens[i].is !== "," && i < closedBy) continue;
    if (i > first) elements.push([first, i]);
    first = i + 1;
  }
  return elements.length > 1 ? elements : [];
}

/**
 * The index of the semicolon of the statement that begins at a token, when it is a call, an
 * assignment or a jump and no declaration, which has two words in a row.
 */
function endOfStatement(tokens, first) {
  const isJump = ["break", "continue", "throw"].includes(tokens[first].is);
  let isAssigned = false;
  let i = first;
  for (; tokens[i] && tokens[i].is !== ";"; i = (tokens[i].closedBy ?? i) + 1) {
    const { kind, is } = tokens[i];
    isAssigned ||= assignments.includes(is);
    const mayBeTarget =
      kind === "word"
        ? tokens[i - 1]?.kind !== "word"
        : [".", "->", "::", "(", "[", "++", "--"].includes(is) || (is === "*" && i === first);
    if (!isJump && !isAssigned && !mayBeTarget) return undefined;
  }
  const isStep = [tokens[first].is, tokens[i - 1].is].some((is) => is === "++" || is === "--");
  const isCall = tokens[i - 1].is === ")";
  return tokens[i] && (isJump || isAssigned || isStep || isCall) ? i : undefined;
}

/** The places of a source: `instead` gives another text for code.slice(from, to). */
function placesOf(code) {
  const tokens = tokensOf(code);
  const places = [];
  const add = (kind, from, to, others) => {
    if (others.length > 0) {
      places.push({ kind, from, to, instead: (random) => others[random(others.length)] });
    }
  };
  // Line breaks stay, so that every other line keeps its number.
  const drop = (kind, from, to) => {
    add(kind, from, to, [code.slice(from, to).replace(/[^\n]+/g, "")]);
  };
  const addText = (first) => {
    let last = first;
    while (tokens[last + 1]?.kind === "text") ++last;
    const letters = tokens.slice(first, last + 1).flatMap((piece) => {
      const found = [...piece.is.matchAll(/(?<!\\|^)[A-Za-z0-9]/g)];
      return found.map(({ index }) => piece.from + index);
    });
    const [from, to] = [tokens[first].from, tokens[last].to];
    const instead = (random) => {
      const at = letters[random(letters.length)];
      return code.slice(from, at) + nextLetter(code[at]) + code.slice(at + 1, to);
    };
    if (letters.length > 0) places.push({ kind: "text", from, to, instead });
  };

  for (const [i, { kind, is, from, to, closedBy }] of tokens.entries()) {
    const previous = tokens[i - 1]?.is;
    if (kind === "number") add("number", from, to, otherNumbers(is));
    if (kind === "letter" && is.length === 3) add("letter", from, to, [`'${nextLetter(is[1])}'`]);
    if (kind === "text" && tokens[i - 1]?.kind !== "text") addText(i);
    if (kind === "word" && Object.hasOwn(otherWords, is)) add("word", from, to, otherWords[is]);
    if (kind === "sign") {
      const isBinary = /\s/.test(code[from - 1]) && /\s/.test(code[to]);
      add("operator", from, to, (isBinary ? otherBinary : otherUnary)[is] ?? []);
    }
    if (is === "(" && ["if", "while", "constexpr"].includes(previous)) {
      const end = tokens[closedBy].from;
      add("condition", to, end, [`!(${code.slice(to, end)})`]);
    }
    if ([";", "{", "}"].includes(previous) && (kind === "word" || kind === "sign")) {
      const end = endOfStatement(tokens, i);
      if (end !== undefined) drop("statement", from, tokens[end].from);
    }
    // Calls, rows and named fields. The comma behind goes along, or the one before the last.
    for (const [first, last] of is === "{" ? elementsOf(tokens, i) : []) {
      const gone = last === closedBy ? [first - 1, last - 1] : [first, last];
      if ([")", "}"].includes(tokens[last - 1].is) || tokens[first].is === ".") {
        drop("element", tokens[gone[0]].from, tokens[gone[1]].to);
      }
    }
  }
  return places;
}

/** Gives whole numbers in [0, limit) that follow from a seed (Mulberry32). */
function randomNumbers(seed) {
  let state = [...seed].reduce((sum, letter) => Math.imul(sum, 31) + letter.charCodeAt(0), 0);
  return (limit) => {
    state = (state + 0x6d2b79f5) | 0;
    let mixed = Math.imul(state ^ (state >>> 15), state | 1);
    mixed ^= mixed + Math.imul(mixed ^ (mixed >>> 7), mixed | 61);
    return ((mixed ^ (mixed >>> 14)) >>> 0) % limit;
  };
}

/**
 * Yields one fault for each place of some sources, in an order that follows from the seed.
 *
 * @param sources  objects {file, code}
 * @param seed     any text
 * @return objects {kind, file, line, code, mutant}, the last being the code with the fault
 */
export function* drawnFaults(sources, seed) {
  const random = randomNumbers(seed);
  const places = sources.flatMap(({ file, code }) =>
    placesOf(code).map((place) => ({ ...place, file, code })),
  );
  while (places.length > 0) {
    const at = random(places.length);
    const { kind, file, code, from, to, instead } = places[at];
    places[at] = places.at(-1);
    places.pop();
    const line = code.slice(0, from).split("\n").length;
    const mutant = code.slice(0, from) + instead(random) + code.slice(to);
    yield { kind, file, line, code, mutant };
  }
}
