// The changes of clients that are not saved yet. A client is { key, entry }: its entry in the list of the daemon, and
// the MAC address by which the program finds it.

// The program and the daemon store a missing text and an empty one alike.
export const toText = (value) => (value === undefined || value === null ? '' : String(value));

export function createClientChanges() {
	const changesByKey = new Map(); // MAC address -> the members that differ from the entry

	function store(key, changes) {
		if (Object.keys(changes).length > 0) changesByKey.set(key, changes);
		else changesByKey.delete(key);
	}

	function valueOf(client, member) {
		return changesByKey.get(client.key)?.[member] ?? client.entry[member];
	}

	// A member that has the entry's value again is no change.
	function change(client, member, value) {
		const changes = { ...changesByKey.get(client.key), [member]: value };
		if (value === client.entry[member]) delete changes[member];
		store(client.key, changes);
	}

	// Returns the changes in the form of the action saveClientList.
	function toSave(clients) {
		return clients.filter(({ key }) => changesByKey.has(key)).map((client) => ({
			macAddr: client.key,
			profileName: toText(valueOf(client, 'profileName')),
			isAccess: valueOf(client, 'isAccess') === true,
		}));
	}

	// Copies saved changes into the entries. A member that was changed again during the save remains a change.
	function markSaved(clients, savedChanges) {
		const savedByKey = new Map(savedChanges.map((saved) => [saved.macAddr, saved]));
		for (const client of clients) {
			const saved = savedByKey.get(client.key);
			if (!saved) continue;
			client.entry.profileName = saved.profileName;
			client.entry.isAccess = saved.isAccess;
			const changes = Object.entries(changesByKey.get(client.key) ?? {});
			const remaining = changes.filter(([member, value]) => client.entry[member] !== value);
			store(client.key, Object.fromEntries(remaining));
		}
	}

	function keepOnly(keys) {
		for (const key of changesByKey.keys()) if (!keys.has(key)) changesByKey.delete(key);
	}

	return {
		has: (client) => changesByKey.has(client.key),
		valueOf,
		change,
		toSave,
		markSaved,
		keepOnly,
		discard: () => changesByKey.clear(),
	};
}
