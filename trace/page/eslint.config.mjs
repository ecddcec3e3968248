// SPDX-License-Identifier: Apache-2.0
// What ESLint holds the page's modules and their checks to.

const browser = {
  CanvasRenderingContext2D: 'readonly', Element: 'readonly', Event: 'readonly', EventSource: 'readonly',
  HTMLButtonElement: 'readonly', HTMLCanvasElement: 'readonly', HTMLDetailsElement: 'readonly',
  HTMLDialogElement: 'readonly', HTMLElement: 'readonly', HTMLFormElement: 'readonly', HTMLInputElement: 'readonly',
  HTMLSelectElement: 'readonly', KeyboardEvent: 'readonly', ResizeObserver: 'readonly', document: 'readonly', fetch: 'readonly',
  getComputedStyle: 'readonly', history: 'readonly', location: 'readonly', matchMedia: 'readonly', performance: 'readonly',
  requestAnimationFrame: 'readonly',
  setTimeout: 'readonly', window: 'readonly',
};

export default [
  { ignores: ['**/node_modules/**'] },
  {
    files: ['**/*.mjs'],
    linterOptions: { reportUnusedDisableDirectives: 'error' },
    languageOptions: { ecmaVersion: 2022, sourceType: 'module', globals: { ...browser, process: 'readonly', URL: 'readonly', console: 'readonly' } },
    rules: {
      'consistent-return': 'error', curly: 'error', 'default-case': 'error', eqeqeq: 'error',
      'max-lines': ['error', 450], 'max-lines-per-function': ['error', 45], 'max-params': ['error', 5],
      'no-implied-eval': 'error', 'no-eval': 'error', 'no-new-func': 'error', 'no-redeclare': 'error',
      'no-shadow': 'error', 'no-undef': 'error', 'no-unused-vars': 'error', 'no-use-before-define': ['error', { functions: false, classes: false }],
      'no-var': 'error', 'object-shorthand': 'error', 'prefer-const': 'error', 'no-restricted-properties': ['error',
        { property: 'innerHTML', message: 'What the inputs hold is text, never markup.' },
        { property: 'outerHTML', message: 'What the inputs hold is text, never markup.' },
        { property: 'insertAdjacentHTML', message: 'What the inputs hold is text, never markup.' }],
    },
  },
];
