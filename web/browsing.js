// The section "Display": what TVs and players show of the music, the photos and the videos.
import { choice, toggle } from './fields.js';
import { list } from './list_field.js';
import { settingsSection } from './settings_form.js';
import { h } from './widgets.js';

const FILE_NAME = /^[^;/\p{Cc}]+$/u;

// The options of a choice, from { value: text }.
const optionsOf = (texts) => () => Object.entries(texts).map(([value, text]) => h('option', { value, text }));

export const browsing = settingsSection({
	name: 'browsing',
	load: 'load_browsing_page',
	save: 'save_browsing_page',
	restartFailureNumber: 647,
	rows: [
		{
			field: 'musicdisplayinfo',
			group: 'browsing.music',
			kind: choice,
			options: optionsOf({
				title: 'browsing.by_title',
				artist: 'browsing.by_artist',
				album: 'browsing.by_album',
				filename: 'browsing.by_filename',
			}),
			limit: 31,
			defaultValue: 'title',
			failureNumbers: [546],
		},
		{
			field: 'enableradio',
			kind: toggle,
			failureNumbers: [574],
		},
		{
			field: 'photo_sort_by',
			group: 'browsing.photos',
			kind: choice,
			options: optionsOf({ filename: 'browsing.by_filename', date: 'browsing.by_date' }),
			limit: 31,
			defaultValue: 'filename',
			failureNumbers: [556],
		},
		{
			field: 'photo_sort_order',
			kind: choice,
			options: optionsOf({ asc: 'browsing.ascending', desc: 'browsing.descending' }),
			limit: 31,
			defaultValue: 'asc',
			failureNumbers: [565],
		},
		{
			field: 'sendthumb',
			group: 'browsing.pictures',
			kind: toggle,
			reload: true,
			failureNumbers: [608, 613],
		},
		{
			field: 'cmzalbumart',
			kind: toggle,
			reload: true,
			failureNumbers: [623, 629],
		},
		{
			field: 'albumartlist',
			kind: list,
			separator: ';',
			columns: [{ label: 'browsing.art_name', pattern: FILE_NAME, error: 'browsing.invalid_art_name' }],
			limit: 255,
			defaultValue: 'cover.jpg;Cover.jpg;COVER.jpg;folder.jpg;Folder.jpg;FOLDER.jpg',
			reload: true,
			failureNumbers: [638],
			enabledBy: 'cmzalbumart',
		},
		{
			field: 'ebdvideoinfo',
			group: 'browsing.videos',
			kind: toggle,
			reload: true,
			failureNumbers: [583],
		},
		{
			field: 'integrateKinovo',
			kind: toggle,
			failureNumbers: [591, 599], // 599: the upgrade of the video metadata
			shownIf: 'support_kinovo',
			usableIf: 'kinovo_enabled',
			unusableReason: 'browsing.library_off',
		},
	],
});
