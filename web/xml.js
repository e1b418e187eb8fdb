// Where a text stops being well-formed XML.

// { line, column, reason }, or nothing when it is well-formed. The browser's own parser judges; the words are its own.
export function xmlError(text) {
  const report = new DOMParser().parseFromString(text, 'application/xml').querySelector('parsererror');
  if (!report) return undefined;
  // Chromium: "... error on line 2 at column 5: reason"; Firefox: "... reason Location: address Line Number 2, Column 5:"
  const words = (report.querySelector('div') ?? report.firstChild).textContent;
  const place = /line \D*(\d+)\D+(\d+):\s*(.*)$/is.exec(words) ?? /(\d+)\D+(\d+)\D*$/.exec(words) ?? [];
  return { line: Number(place[1] ?? 1), column: Number(place[2] ?? 1), reason: (place[3] ?? '').trim() };
}
