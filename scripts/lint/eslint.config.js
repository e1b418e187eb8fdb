import js from '@eslint/js';
import globals from 'globals';

// The page inserts text as text, never as markup.
const MARKUP = ['innerHTML', 'outerHTML', 'insertAdjacentHTML', 'setHTMLUnsafe', 'srcdoc', 'write', 'writeln'];

export default [
  js.configs.recommended,
  {
    languageOptions: { globals: globals.browser },
    linterOptions: { reportUnusedDisableDirectives: 'error' },
    rules: {
      'no-restricted-properties': ['error', ...MARKUP.map((property) => ({ property }))],
      'no-eval': 'error',
      'no-implied-eval': 'error',
      'no-new-func': 'error',
      'no-var': 'error',
      'prefer-const': 'error',
      'no-shadow': 'error',
      'no-use-before-define': ['error', { functions: false, variables: false }],
      'no-unused-expressions': ['error', { allowShortCircuit: true, allowTernary: true }],
      eqeqeq: 'error',
      'max-lines': ['error', 300],
      'max-len': ['error', { code: 120, tabWidth: 4, ignoreUrls: true, ignoreStrings: true }],
    },
  },
];
