// Saves the user's changes even if somebody else has changed the stored state in the meantime.
const MAX_ATTEMPTS = 3; // gives up if the stored state has changed before each of them

// Runs
//   save     sends the user's changes, on condition that the stored state is still the one that the page shows
//   load     loads the stored state after the condition failed
//   rebase   merges the user's changes into the loaded result. Returns whether the page may save again; otherwise the
//            user has to choose between two values first
//
// Returns the result of the last request, or { ok: false } without a failure if the user has to choose.
export async function saveMerged({ save, load, rebase }) {
	for (let round = 1; ; round += 1) {
		const result = await save();
		if (result.failure?.kind !== 'changed' || round === MAX_ATTEMPTS) return result;
		const loaded = await load();
		if (!loaded.ok) return loaded;
		if (!(await rebase(loaded))) return { ok: false };
	}
}

// Returns the text of a save that succeeded, followed by another one if there is more to say.
export const savedText = (saved, more) => (more ? ['form.saved_and', { saved: [saved, {}], more }] : saved);
