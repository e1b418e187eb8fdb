// Where a text stops being well-formed XML 1.0. The browser's parser reports that with inline styles, which this page's
// rules refuse.
const NAME = '[\\p{L}\\p{Nl}_:][\\p{L}\\p{N}\\p{M}_:.\\xB7-]*';
const ATTRIBUTE = `[\\t\\n\\r ]+(${NAME})[\\t\\n\\r ]*=[\\t\\n\\r ]*("[^<"]*"|'[^<']*')`;
const TOKEN = new RegExp([
	'(?<comment><!--[^]*?-->)',
	`(?<instruction><\\?${NAME}(?:[\\t\\n\\r ][^]*?)?\\?>)`,
	'(?<cdata><!\\[CDATA\\[[^]*?\\]\\]>)',
	`(?<doctype><!DOCTYPE[\\t\\n\\r ]+${NAME}[^<>[]*(?<subset>\\[[^\\]]*\\][\\t\\n\\r ]*)?>)`,
	`</(?<end>${NAME})[\\t\\n\\r ]*>`,
	`<(?<start>${NAME})(?<attributes>(?:${ATTRIBUTE})*)[\\t\\n\\r ]*(?<empty>/?)>`,
	'(?<text>[^<]+)',
].join('|'), 'uy');
const DECLARATION = /^<\?xml[\t\n\r ]+version=("1\.\d+"|'1\.\d+')([\t\n\r ]+encoding=("[\w.-]+"|'[\w.-]+'))?([\t\n\r ]+standalone=(["'])(yes|no)\5)?[\t\n\r ]*\?>$/;
const REFERENCE = /&(?!(?:amp|lt|gt|quot|apos|#\d+|#x[\da-fA-F]+);)/;
const NO_CHARACTER = /[^\t\n\r\x20-\uD7FF\uE000-\uFFFD\u{10000}-\u{10FFFF}]/u;

function duplicate(attributes) {
	const names = [...attributes.matchAll(new RegExp(ATTRIBUTE, 'gu'))].map((match) => match[1]);
	return new Set(names).size < names.length;
}

// The offset of what is wrong, or nothing.
function wrongAt(text) {
	const open = []; // the elements that are open: [name, offset]
	let root = false;
	let declared = false; // entities of the document's own
	for (let at = text.startsWith('\uFEFF') ? 1 : 0, first = at; at < text.length; at = TOKEN.lastIndex) {
		TOKEN.lastIndex = at;
		const { groups: token } = TOKEN.exec(text) ?? {};
		if (!token) return at;
		const inside = open.length > 0;
		const words = token.text ?? token.attributes ?? '';
		if (!declared && REFERENCE.test(words)) return at + Math.max(0, text.slice(at).search(REFERENCE));
		const wrong = token.comment?.slice(4, -3).match(/--|-$/)
			|| (/^<\?xml[\s?]/i.test(token.instruction) && (at !== first || !DECLARATION.test(token.instruction)))
			|| (token.cdata && !inside)
			|| (token.doctype && (root || declared))
			|| (token.end && open.pop()?.[0] !== token.end)
			|| (token.start && ((!inside && root) || duplicate(token.attributes)))
			|| (token.text && (inside ? token.text.includes(']]>') : /[^\t\n\r ]/.test(token.text)));
		if (wrong) return at;
		declared ||= Boolean(token.subset);
		root ||= Boolean(token.start);
		if (token.start && !token.empty) open.push([token.start, at]);
	}
	return root ? open.at(-1)?.[1] : text.length;
}

// { line, column, found }, or nothing when it is well-formed.
export function xmlError(text) {
	const strange = text.search(NO_CHARACTER);
	const offset = strange < 0 ? wrongAt(text) : strange;
	if (offset === undefined) return undefined;
	const lines = text.slice(0, offset).split('\n');
	return { line: lines.length, column: lines.at(-1).length + 1, found: text.slice(offset, offset + 40).split('\n')[0] };
}
