// What players see when they look through the music, photos and videos.
import { choice, list, toggle } from './fields.js';
import { settingsSection } from './settings_form.js';

export const FILE_NAME = /^[^;/\p{Cc}]+$/u;

export const browsing = settingsSection({
	name: 'browsing',
	load: 'load_browsing_page',
	save: 'save_browsing_page',
	restartLine: 647,
	rows: [
		{ field: 'musicdisplayinfo', kind: choice,
			limit: 31, options: () => [
				{ value: 'title', text: 'browsing.by_title' }, { value: 'artist', text: 'browsing.by_artist' },
				{ value: 'album', text: 'browsing.by_album' }, { value: 'filename', text: 'browsing.by_filename' }], lines: [546], group: 'browsing.music' },
		{ field: 'enableradio', kind: toggle,
			lines: [574] },
		{ field: 'photo_sort_by', kind: choice, limit: 31, options: () => [
			{ value: 'filename', text: 'browsing.by_filename' }, { value: 'date', text: 'browsing.by_date' }], lines: [556], group: 'browsing.photos' },
		{ field: 'photo_sort_order', kind: choice, limit: 31, options: () => [
			{ value: 'asc', text: 'browsing.ascending' }, { value: 'desc', text: 'browsing.descending' }], lines: [565] },
		{ field: 'sendthumb', kind: toggle, reload: true,
			lines: [608, 613], group: 'browsing.pictures' },
		{ field: 'cmzalbumart', kind: toggle, reload: true, lines: [623, 629] },
		{ field: 'albumartlist', kind: list, reload: true, limit: 255,
			separator: ';', columns: [{ label: 'browsing.art_name', pattern: FILE_NAME, wrong: 'browsing.wrong_art_name' }],
			standard: 'cover.jpg;Cover.jpg;COVER.jpg;folder.jpg;Folder.jpg;FOLDER.jpg', under: 'cmzalbumart', lines: [638] },
		{ field: 'ebdvideoinfo', kind: toggle, reload: true, lines: [583],
			group: 'browsing.videos' },
		{ field: 'integrateKinovo', kind: toggle, lines: [591, 599], shown: 'support_kinovo', usable: 'kinovo_enabled', why: 'browsing.library_off' },
	],
});
