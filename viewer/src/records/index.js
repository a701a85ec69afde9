import { controlRecords } from './control.js';
import { materialRecords } from './materials.js';
import { meshRecords } from './mesh.js';
import { treeRecords } from './tree.js';
import { imageRecords } from './image.js';

// Every record that may stand in a run of records, by tag. Blocks (Z, D)
// and keyed data (d) are framing and are handled by the decoder itself.
export const RECORD_TYPES = new Map(
  [...controlRecords, ...materialRecords, ...meshRecords, ...treeRecords, ...imageRecords]
    .map((type) => [type.tag, type]),
);
