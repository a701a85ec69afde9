// Bundles the viewer into one self-contained page: templates/default.html.
// The same sources and lockfile give the same bytes.
import { build } from 'esbuild';
import { readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';

const root = fileURLToPath(new URL('..', import.meta.url));
const MARKER = '<!-- QX_MODEL_DATA -->';
const SLOT = '/*QX_VIEWER_SCRIPT*/';
const output = process.argv[2] ?? join(root, 'templates', 'default.html');

const result = await build({
  entryPoints: [join(root, 'src', 'main.js')],
  bundle: true,
  minify: true,
  format: 'iife',
  target: 'es2020',
  legalComments: 'none',
  write: false,
  logLevel: 'warning',
});
const script = result.outputFiles[0].text.trim();
const page = readFileSync(join(root, 'src', 'template.html'), 'utf8');

const fail = (why) => { console.error(`build: ${why}`); process.exit(1); };
if (/<\/script/i.test(script)) fail('the bundle contains a closing script tag');
if (script.includes(MARKER)) fail('the bundle contains the data marker');
if (page.split(SLOT).length !== 2) fail('the page source needs exactly one script slot');

const html = page.replace(SLOT, () => script);
if (html.split(MARKER).length !== 2) fail('the page must hold the data marker exactly once');
writeFileSync(output, html);
console.log(`wrote ${output} (${html.length} bytes)`);
