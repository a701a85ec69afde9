import { StreamDecoder } from '../StreamDecoder.js';

// Decodes a live stream frame by frame. Each frame holds whole records, so
// it is walked on its own; the model context and the check for the stream
// head carry over from one frame to the next, as if the frames stood end to
// end in a file.
export class FrameDecoder {
  constructor() {
    this.context = null;
    this.started = false;
  }

  // Every record of `bytes` (a Uint8Array), in order.
  *records(bytes) {
    const decoder = new StreamDecoder(bytes);
    decoder.context = this.context;
    decoder.started = this.started;
    try {
      for (let record = decoder.next(); record; record = decoder.next()) yield record;
    } finally {
      this.context = decoder.context;
      this.started = decoder.started;
    }
  }
}
