import { mkdirSync, readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';

export const VIEWER = fileURLToPath(new URL('../..', import.meta.url));
export const RESULTS = join(VIEWER, 'results');
const MARKER = '<!-- QX_MODEL_DATA -->';

// Writes a page of the built template with `bytes` as its stream.
export function writePage(name, bytes) {
  const template = readFileSync(join(VIEWER, 'templates', 'default.html'), 'utf8');
  const dir = join(RESULTS, 'pages');
  mkdirSync(dir, { recursive: true });
  const path = join(dir, `${name}.html`);
  writeFileSync(path, template.replace(MARKER, () => Buffer.from(bytes).toString('base64')));
  return path;
}
