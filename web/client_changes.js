// The changes of clients that are not saved yet. A client is { key, title, entry }: the MAC address by which the
// program finds it, the words that name it, and its entry in the list of the daemon.
import { merge } from './merge.js';

// The program and the daemon store a missing text and an empty one alike.
export const toText = (value) => (value === undefined || value === null ? '' : String(value));

// The members that a user can change, as the program stores them.
const settingsOf = ({ entry }) => ({ profileName: toText(entry.profileName), isAccess: entry.isAccess === true });

export function createClientChanges() {
	const changesByKey = new Map(); // MAC address -> the members that differ from the entry
	const conflictsByKey = new Map(); // MAC address -> the members for which the user has to choose a value

	const changedSettings = (client) => ({ ...settingsOf(client), ...changesByKey.get(client.key) });
	const conflictsOf = (client) => conflictsByKey.get(client.key) ?? new Set();

	// Stores the settings that the user wants as changes, except those that the entry has already.
	function setChanges(client, wanted) {
		const stored = settingsOf(client);
		const changes = Object.entries(wanted).filter(([member, value]) => value !== stored[member]);
		if (changes.length > 0) changesByKey.set(client.key, Object.fromEntries(changes));
		else changesByKey.delete(client.key);
		for (const member of conflictsOf(client)) if (wanted[member] === stored[member]) endConflict(client, member);
	}

	function endConflict(client, member) {
		conflictsOf(client).delete(member);
	}

	function valueOf(client, member) {
		return changesByKey.get(client.key)?.[member] ?? client.entry[member];
	}

	function change(client, member, value) {
		setChanges(client, { ...changedSettings(client), [member]: value });
	}

	// Returns the changes in the form of the action saveClientList. The members that the user has not changed are the
	// stored ones.
	function toSave(clients) {
		return clients.filter(({ key }) => changesByKey.has(key))
			.map((client) => ({ macAddr: client.key, ...changedSettings(client) }));
	}

	// Copies saved changes into the entries. A member that was changed again during the save remains a change.
	function markSaved(clients, savedChanges) {
		const savedByKey = new Map(savedChanges.map((saved) => [saved.macAddr, saved]));
		for (const client of clients) {
			const saved = savedByKey.get(client.key);
			if (!saved) continue;
			const wanted = changedSettings(client);
			client.entry.profileName = saved.profileName;
			client.entry.isAccess = saved.isAccess;
			setChanges(client, wanted);
		}
	}

	// Merges the changes into another list of clients. Drops the changes of clients that are no longer in the list.
	// Returns { hasAdopted, dropped }: whether somebody else has changed clients, and the dropped changes as
	// { client, member }.
	function rebase(oldClients, clients) {
		const clientsByKey = new Map(clients.map((client) => [client.key, client]));
		const dropped = [];
		let hasAdopted = false;
		for (const oldClient of oldClients.filter(({ key }) => key !== undefined)) {
			const { key } = oldClient;
			const client = clientsByKey.get(key);
			if (!client) {
				const members = Object.keys(changesByKey.get(key) ?? {});
				dropped.push(...members.map((member) => ({ client: oldClient, member })));
				changesByKey.delete(key);
				continue;
			}
			const theirs = settingsOf(client);
			const { merged, conflicts, adopted } = merge(settingsOf(oldClient), changedSettings(oldClient), theirs);
			setChanges(client, merged);
			if (conflicts.length > 0) conflictsByKey.set(key, new Set([...conflictsOf(client), ...conflicts]));
			hasAdopted ||= adopted.length > 0;
		}
		return { hasAdopted, dropped };
	}

	// Returns { client, member, theirs, mine } for each member for which the user has to choose a value.
	function listConflicts(clients) {
		return clients.filter(({ key }) => conflictsByKey.has(key)).flatMap((client) => {
			const [theirs, mine] = [settingsOf(client), changedSettings(client)];
			return [...conflictsOf(client)].map((member) =>
				({ client, member, theirs: theirs[member], mine: mine[member] }));
		});
	}

	return {
		has: (client) => changesByKey.has(client.key),
		valueOf,
		change,
		toSave,
		markSaved,
		rebase,
		listConflicts,
		endConflict,
		discard() {
			changesByKey.clear();
			conflictsByKey.clear();
		},
	};
}
