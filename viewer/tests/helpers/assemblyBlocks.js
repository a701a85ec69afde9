import { concat, record, u32 } from './record.js';

// Blocks of a tree of parts in the layout that `qx export --assembly-tree`
// writes: a head in keyed data 1 and one block per group node.

const TWO_FLAG_WORDS = 0x40000000;
const text = (s) => (s ? [['bytes', new TextEncoder().encode(`${s}\0`)]] : []);

// A version comes with formats from 4 on, the last word from 3 on.
export function headBlock(rootKey, { format = 5, version = [22, 1, 2] } = {}) {
  return record([...u32(0x40800000, format, ...(format >= 4 ? version : []), 64, rootKey), ['u8', 0], ['u8', 0],
    ...(format >= 3 ? u32(0) : [])]);
}

export function bodyRecord({ id = 0, name = '', instance }) {
  const flags = TWO_FLAG_WORDS | 0x1 | 0x4 | 0x40000 | (name ? 0x2 : 0);
  return record([...u32(flags, 0, id), ...text(name), ['u8', 2], ...u32(instance)]);
}

export function groupBlock({ id = 0, name = '', children = [], bodies = [] }) {
  let flags = TWO_FLAG_WORDS | 0x1 | 0x4 | 0x400000 | (name ? 0x2 : 0);
  if (children.length) flags |= 0x10;
  if (bodies.length) flags |= 0x80;
  return concat([
    record([...u32(flags, 0, id), ...text(name), ['u8', 2], ['u8', 2]]),
    children.length ? record(u32(children.length, ...children)) : new Uint8Array(0),
    bodies.length ? concat([record(u32(bodies.length)), ...bodies.map(bodyRecord)]) : new Uint8Array(0),
  ]);
}

// An engine-like tree: keyed data 1 leads to the root (key 10), which has
// a crank shaft (key 11, with a nested bolt group, key 13) and a piston
// (key 12); instances hang on the leaves as unnamed bodies, and the piston
// has a named body too.
export function sampleTreeBlocks() {
  return new Map([
    [1, headBlock(10)],
    [10, groupBlock({ id: 0, name: 'engine', children: [11, 12] })],
    [11, groupBlock({ id: 1, name: 'crank shaft', children: [13], bodies: [{ id: 5, instance: 100 }] })],
    [13, groupBlock({ id: 3, name: 'bolts', bodies: [{ id: 6, instance: 101 }, { id: 7, instance: 102 }] })],
    [12, groupBlock({
      id: 2, name: 'unnamed-0', bodies: [{ id: 8, instance: 103 }, { id: 9, name: 'pin', instance: 104 }],
    })],
  ]);
}
