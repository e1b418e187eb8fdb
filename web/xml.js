// Finds the place where a text stops being well-formed XML 1.0. The browser's parser reports an error as a document
// with inline styles, which this page's Content-Security-Policy forbids.
const SPACE = '[\\t\\n\\r ]';
const NAME = '[\\p{L}\\p{Nl}_:][\\p{L}\\p{N}\\p{M}_:.\\xB7-]*';
const ATTRIBUTE = `${SPACE}+(${NAME})${SPACE}*=${SPACE}*("[^<"]*"|'[^<']*')`;
const TOKEN = new RegExp([
	'(?<comment><!--[^]*?-->)',
	`(?<instruction><\\?${NAME}(?:${SPACE}[^]*?)?\\?>)`,
	'(?<cdata><!\\[CDATA\\[[^]*?\\]\\]>)',
	`(?<doctype><!DOCTYPE${SPACE}+${NAME}[^<>[]*(?<subset>\\[[^\\]]*\\]${SPACE}*)?>)`,
	`</(?<end>${NAME})${SPACE}*>`,
	`<(?<start>${NAME})(?<attributes>(?:${ATTRIBUTE})*)${SPACE}*(?<empty>/?)>`,
	'(?<text>[^<]+)',
].join('|'), 'uy');
const DECLARATION = new RegExp([
	`^<\\?xml${SPACE}+version=("1\\.\\d+"|'1\\.\\d+')`,
	`(${SPACE}+encoding=("[\\w.-]+"|'[\\w.-]+'))?`,
	`(${SPACE}+standalone=("(yes|no)"|'(yes|no)'))?`,
	`${SPACE}*\\?>$`,
].join(''));
const UNKNOWN_REFERENCE = /&(?!(?:amp|lt|gt|quot|apos|#\d+|#x[\da-fA-F]+);)/;
const FORBIDDEN_CHARACTER = /[^\t\n\r\x20-\uD7FF\uE000-\uFFFD\u{10000}-\u{10FFFF}]/u;

function hasDuplicate(attributes) {
	const names = [...attributes.matchAll(new RegExp(ATTRIBUTE, 'gu'))].map((match) => match[1]);
	return new Set(names).size < names.length;
}

// Returns whether a token is not allowed at its place. `state` describes the text before it.
function isMisplaced(token, state) {
	const inRoot = state.openElements.length > 0;
	if (token.comment) return /--|-$/.test(token.comment.slice(4, -3));
	if (token.instruction) {
		return /^<\?xml[\s?]/i.test(token.instruction) && !(state.isFirst && DECLARATION.test(token.instruction));
	}
	if (token.cdata) return !inRoot;
	if (token.doctype) return state.hasRoot || state.definesEntities;
	if (token.end) return state.openElements.at(-1)?.name !== token.end;
	if (token.start) return (state.hasRoot && !inRoot) || hasDuplicate(token.attributes);
	return inRoot ? token.text.includes(']]>') : /[^\t\n\r ]/.test(token.text);
}

// Returns the offset of the first error, or undefined.
function findErrorOffset(text) {
	const state = { openElements: [], hasRoot: false, definesEntities: false, isFirst: true };
	let offset = text.startsWith('\uFEFF') ? 1 : 0;
	while (offset < text.length) {
		TOKEN.lastIndex = offset;
		const token = TOKEN.exec(text)?.groups;
		if (!token) return offset;
		// Entities that the document defines itself are not checked.
		const words = token.text ?? token.attributes ?? '';
		if (!state.definesEntities && UNKNOWN_REFERENCE.test(words)) {
			return offset + Math.max(0, text.slice(offset).search(UNKNOWN_REFERENCE));
		}
		if (isMisplaced(token, state)) return offset;
		if (token.subset) state.definesEntities = true;
		if (token.start) state.hasRoot = true;
		if (token.start && !token.empty) state.openElements.push({ name: token.start, offset });
		if (token.end) state.openElements.pop();
		state.isFirst = false;
		offset = TOKEN.lastIndex;
	}
	return state.hasRoot ? state.openElements.at(-1)?.offset : text.length;
}

// Returns { line, column, found } of the first error, or undefined if the text is well-formed.
export function findXmlError(text) {
	const forbidden = text.search(FORBIDDEN_CHARACTER);
	const offset = forbidden < 0 ? findErrorOffset(text) : forbidden;
	if (offset === undefined) return undefined;
	const lines = text.slice(0, offset).split('\n');
	const found = text.slice(offset, offset + 40).split('\n')[0];
	return { line: lines.length, column: lines.at(-1).length + 1, found };
}
