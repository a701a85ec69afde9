// Bundles the viewer into one self-contained page: templates/default.html.
// The viewer's script is minified, deflated and put into the page as base64
// text, with a small starter that inflates and runs it. The same sources and
// lockfile give the same bytes.
import { build } from 'esbuild';
import { readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { deflateRawSync } from 'node:zlib';
import { slimThree } from './slimThree.mjs';

const root = fileURLToPath(new URL('..', import.meta.url));
const MARKER = '<!-- QX_MODEL_DATA -->';
const CODE_SLOT = '/*QX_VIEWER_CODE*/';
const BOOT_SLOT = '/*QX_VIEWER_BOOT*/';
const output = process.argv[2] ?? join(root, 'templates', 'default.html');

const bundle = async (entry, plugins = []) => (await build({
  entryPoints: [join(root, 'src', entry)],
  bundle: true,
  minify: true,
  format: 'iife',
  target: 'es2020',
  legalComments: 'none',
  write: false,
  logLevel: 'warning',
  plugins,
})).outputFiles[0].text.trim();

const script = await bundle('main.js', [slimThree()]);
const boot = await bundle('boot.js');
const page = readFileSync(join(root, 'src', 'template.html'), 'utf8');

const fail = (why) => { console.error(`build: ${why}`); process.exit(1); };
if (/<\/script/i.test(boot)) fail('the starter contains a closing script tag');
for (const slot of [CODE_SLOT, BOOT_SLOT]) {
  if (page.split(slot).length !== 2) fail(`the page source needs exactly one ${slot}`);
}

const code = deflateRawSync(Buffer.from(script), { level: 9 }).toString('base64');
const html = page.replace(CODE_SLOT, () => code).replace(BOOT_SLOT, () => boot);
if (html.split(MARKER).length !== 2) fail('the page must hold the data marker exactly once');
writeFileSync(output, html);
console.log(`wrote ${output} (${html.length} bytes; script ${script.length} bytes before compression)`);
