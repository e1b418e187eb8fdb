// The section "Conversion": what the media server converts for players, and how it describes files to them.
import { toggle } from './fields.js';
import { list } from './list_field.js';
import { settingsSection } from './settings_form.js';

const EXTENSION = /^[^;,=./\s]+$/;
const MIME_TYPE = /^[\w!#$&^.+-]+\/[\w!#$&^.+-]+$/; // the names of RFC 6838
const EXTENSION_COLUMN = { label: 'media.extension', pattern: EXTENSION, error: 'media.invalid_extension' };

export const mediaAdapter = settingsSection({
	name: 'media',
	load: 'load_dma_page',
	save: 'save_dma_page',
	restartFailureNumber: 908,
	rows: [
		{
			field: 'flactranscoding',
			group: 'media.audio',
			kind: toggle,
			failureNumbers: [773, 778],
		},
		{
			field: 'aactranscoding',
			kind: toggle,
			failureNumbers: [790, 795],
		},
		{
			field: 'oggtranscoding',
			kind: toggle,
			failureNumbers: [807, 812],
		},
		{
			field: 'aifftranscoding',
			kind: toggle,
			failureNumbers: [824, 829],
		},
		{
			field: 'downsample_audio_transcoding',
			kind: toggle,
			failureNumbers: [841, 846],
		},
		{
			field: 'videotranscoding',
			group: 'media.videos',
			kind: toggle,
			failureNumbers: [892],
			shownIf: 'support_video_transcoding',
		},
		{
			field: 'videoextlist',
			kind: list,
			separator: ';',
			columns: [EXTENSION_COLUMN],
			limit: 255,
			defaultValue: 'rm;rmvb;mkv',
			failureNumbers: [900],
			enabledBy: 'videotranscoding',
			shownIf: 'support_video_transcoding',
		},
		{
			field: 'cmzmimetype',
			group: 'media.compatibility',
			kind: toggle,
			failureNumbers: [865, 871],
		},
		{
			field: 'mimetypelist',
			kind: list,
			separator: ',',
			columns: [EXTENSION_COLUMN, { label: 'media.type', pattern: MIME_TYPE, error: 'media.invalid_type' }],
			limit: 255,
			defaultValue: 'avi=video/x-ms-video,wav=audio/x-wav',
			failureNumbers: [882],
			enabledBy: 'cmzmimetype',
		},
		{
			field: 'disable_access_right',
			kind: toggle,
			failureNumbers: [856],
		},
	],
});
