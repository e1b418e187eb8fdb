// What the media server converts for players, and how it names kinds of files to them.
import { list, toggle } from './fields.js';
import { settingsSection } from './settings_form.js';

const EXTENSION = /^[^;,=./\s]+$/;
const MIME_TYPE = /^[\w!#$&^.+-]+\/[\w!#$&^.+-]+$/; // the names of RFC 6838

export const mediaAdapter = settingsSection({
	name: 'media',
	load: 'load_dma_page',
	save: 'save_dma_page',
	restartLine: 908,
	rows: [
		{ field: 'flactranscoding', kind: toggle, lines: [773, 778],
			group: 'media.audio' },
		{ field: 'aactranscoding', kind: toggle, lines: [790, 795] },
		{ field: 'oggtranscoding', kind: toggle, lines: [807, 812] },
		{ field: 'aifftranscoding', kind: toggle, lines: [824, 829] },
		{ field: 'downsample_audio_transcoding', kind: toggle, lines: [841, 846] },
		{ field: 'videotranscoding', kind: toggle,
			lines: [892], shown: 'support_video_transcoding', group: 'media.videos' },
		{ field: 'videoextlist', kind: list, limit: 255,
			separator: ';', columns: [{ label: 'media.extension', pattern: EXTENSION, wrong: 'media.wrong_extension' }],
			standard: 'rm;rmvb;mkv', under: 'videotranscoding', lines: [900],
			shown: 'support_video_transcoding' },
		{ field: 'cmzmimetype', kind: toggle,
			lines: [865, 871], group: 'media.compatibility' },
		{ field: 'mimetypelist', kind: list, limit: 255, separator: ',',
			columns: [{ label: 'media.extension', pattern: EXTENSION, wrong: 'media.wrong_extension' },
				{ label: 'media.type', pattern: MIME_TYPE, wrong: 'media.wrong_type' }],
			standard: 'avi=video/x-ms-video,wav=audio/x-wav', under: 'cmzmimetype', lines: [882] },
		{ field: 'disable_access_right', kind: toggle, lines: [856] },
	],
});
