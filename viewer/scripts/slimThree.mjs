// An esbuild plugin that bundles only the parts of three.js that the viewer
// uses. three.js is taken from its module sources, so that unused classes
// drop out, and its shader library is cut down to the shaders of the basic
// mesh, line and point materials and of an image background (the viewer
// draws with its own shaders):
// the chunks that those include, with comments and indentation removed.
import { readFileSync } from 'node:fs';
import { join } from 'node:path';
import { fileURLToPath, pathToFileURL } from 'node:url';

const THREE = fileURLToPath(new URL('../node_modules/three/src/', import.meta.url));
const SHADERS = join(THREE, 'renderers', 'shaders');
const KEPT_PROGRAMS = ['basic', 'points', 'background'];
// Chunks that the renderer adds to every program that isn't raw.
const PROGRAM_CHUNKS = ['colorspace_pars_fragment', 'tonemapping_pars_fragment'];

// GLSL without comments, indentation and blank lines. Lines stay lines, for
// the preprocessor.
export function minifyGlsl(source) {
  return source
    .replace(/\/\*[\s\S]*?\*\//g, '')
    .split('\n')
    .map((line) => line.replace(/\/\/.*$/, '').trim())
    .filter((line) => line !== '')
    .join('\n');
}

// The blocks `name: { ... }` of the object literal `const ShaderLib = {`.
function shaderLibEntries(source, names) {
  return names.map((name) => {
    const start = source.indexOf(`\t${name}: {`);
    if (start < 0) throw new Error(`three.js ShaderLib has no entry ${name}`);
    let depth = 0;
    for (let i = source.indexOf('{', start); i < source.length; i++) {
      if (source[i] === '{') depth++;
      if (source[i] === '}' && --depth === 0) return source.slice(start, i + 1);
    }
    throw new Error(`three.js ShaderLib entry ${name} is not closed`);
  });
}

// name -> GLSL of all chunks in ShaderChunk.js, read from three's sources.
async function allChunks() {
  const index = readFileSync(join(SHADERS, 'ShaderChunk.js'), 'utf8');
  const imports = new Map([...index.matchAll(/import (\* as )?(\w+) from '\.\/(.+?)';/g)].map((m) => [m[2], m[3]]));
  const chunks = new Map();
  for (const [, name, value] of index.matchAll(/^\t(\w+): (\w+(?:\.\w+)?),?$/gm)) {
    const [module, member = 'default'] = value.split('.');
    chunks.set(name, (await import(pathToFileURL(join(SHADERS, imports.get(module))).href))[member]);
  }
  return chunks;
}

// The chunks that `roots` include, directly or through other chunks.
function reachable(chunks, roots) {
  const kept = new Set();
  const visit = (name) => {
    if (kept.has(name) || !chunks.has(name)) return;
    kept.add(name);
    for (const m of chunks.get(name).matchAll(/#include <(\w+)>/g)) visit(m[1]);
  };
  roots.forEach(visit);
  return kept;
}

export function slimThree() {
  return {
    name: 'slim-three',
    setup(build) {
      build.onResolve({ filter: /^three$/ }, () => ({ path: join(THREE, 'Three.js') }));
      build.onLoad({ filter: /renderers[\\/]shaders[\\/]ShaderChunk\.js$/ }, async () => {
        const chunks = await allChunks();
        const lib = readFileSync(join(SHADERS, 'ShaderLib.js'), 'utf8');
        const roots = [...lib.matchAll(/ShaderChunk\.(\w+)/g)].map((m) => m[1])
          .filter((name) => KEPT_PROGRAMS.some((p) => name.startsWith(p) || name.startsWith(`mesh${p}`)));
        const kept = reachable(chunks, [...roots, ...PROGRAM_CHUNKS]);
        const body = [...kept].sort().map((name) => `${name}: ${JSON.stringify(minifyGlsl(chunks.get(name)))}`);
        return { contents: `export const ShaderChunk = {\n${body.join(',\n')}\n};\n`, loader: 'js' };
      });
      build.onLoad({ filter: /renderers[\\/]shaders[\\/]ShaderLib\.js$/ }, (args) => {
        const source = readFileSync(args.path, 'utf8');
        const head = source.slice(0, source.indexOf('const ShaderLib = {'));
        const entries = shaderLibEntries(source, KEPT_PROGRAMS);
        return { contents: `${head}const ShaderLib = {\n${entries.join(',\n')}\n};\nexport { ShaderLib };\n`, loader: 'js', resolveDir: SHADERS };
      });
    },
  };
}
