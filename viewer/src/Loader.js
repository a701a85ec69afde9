import { StreamDecoder } from './StreamDecoder.js';

// Feeds the stream to the scene state in time slices, so that the page can
// draw and answer input between slices.
export class Loader {
  constructor(bytes, state) {
    this.decoder = new StreamDecoder(bytes);
    this.state = state;
    this.done = false;
  }

  // Decodes at least one record, and more until `deadline` (in ms of
  // performance.now()). Returns true once the stream has ended.
  run(deadline) {
    do {
      const record = this.decoder.next();
      if (!record) {
        this.done = true;
        break;
      }
      this.state.apply(record);
    } while (performance.now() < deadline);
    return this.done;
  }

  get progress() {
    return this.decoder.total ? this.decoder.consumed / this.decoder.total : 1;
  }
}
