// Merges the changes of two people who edit the same state.
//
// `base` is the state that the user's changes started from, `mine` is that state with these changes, and `theirs` is
// the state that is stored now. Each is an object whose values are compared with ===.
//
// `required` has the names of values that the user's changes depend on: the user wants them as they are in `mine`, even
// if they are unchanged.
//
// Returns
//   merged      `theirs` with the user's changes; for a conflict, and for a name that `theirs` lacks, the user's value
//   conflicts   the names that both changed, to different values
//   adopted     the names that only somebody else changed
export function merge(base, mine, theirs, required = []) {
	const merged = { ...theirs };
	const conflicts = [];
	const adopted = [];
	for (const [name, value] of Object.entries(mine)) {
		const isMine = value !== base[name] || required.includes(name);
		const isTheirs = Object.hasOwn(theirs, name) && theirs[name] !== base[name];
		if (isMine || !isTheirs) merged[name] = value;
		if (isTheirs && theirs[name] !== value) (isMine ? conflicts : adopted).push(name);
	}
	return { merged, conflicts, adopted };
}
