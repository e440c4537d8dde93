// ESLint for all of the project's JavaScript (scripts/lint.sh runs it):
// the recommended rules, with the globals each kind of file really has.
import js from '@eslint/js';
import globals from 'globals';

export default [
  { ignores: ['build/', 'build-*/', 'prebuilds/', 'node_modules/'] },
  js.configs.recommended,
  {
    // Node.js code: CommonJS, as package.json has no "type".
    files: ['**/*.js'],
    languageOptions: { ecmaVersion: 2023, sourceType: 'commonjs', globals: { ...globals.node } },
  },
  {
    files: ['**/*.mjs'],
    languageOptions: { ecmaVersion: 2023, sourceType: 'module', globals: { ...globals.node } },
  },
  {
    // The cluster page's script runs in the browser, as a classic script.
    files: ['apps/cluster/page/**/*.js'],
    languageOptions: { sourceType: 'script', globals: { ...globals.browser } },
  },
  {
    // Node.js code whose page.evaluate() callbacks run in the page.
    files: ['test/browser/**/*.js'],
    languageOptions: { globals: { ...globals.node, document: 'readonly', window: 'readonly' } },
  },
];
