// The WebSocket to the server's /stream: frames in, JSON messages out, an
// ack after each frame, and a new connection after a lost one.
const RETRY_MS = [500, 1000, 2000, 5000];

export class LiveConnection {
  // `handlers`: open(), frame(Uint8Array), error(message), lost(willRetryInMs).
  constructor(url, handlers) {
    this.url = url;
    this.handlers = handlers;
    this.attempt = 0;
    this.socket = null;
    this.received = 0;
    this.connect();
  }

  connect() {
    const socket = new WebSocket(this.url);
    socket.binaryType = 'arraybuffer';
    this.socket = socket;
    this.received = 0;
    socket.onopen = () => {
      this.attempt = 0;
      this.handlers.open();
    };
    socket.onmessage = (event) => {
      if (typeof event.data === 'string') {
        let message = event.data;
        try { message = JSON.parse(event.data).message ?? message; } catch { /* shown as it came */ }
        this.handlers.error(message);
        return;
      }
      const bytes = new Uint8Array(event.data);
      this.received += bytes.length;
      this.handlers.frame(bytes);
      this.send({ type: 'ack', bytes: this.received });
    };
    socket.onclose = () => {
      if (this.socket !== socket) return;
      const wait = RETRY_MS[Math.min(this.attempt++, RETRY_MS.length - 1)];
      this.handlers.lost(wait);
      setTimeout(() => this.connect(), wait);
    };
  }

  send(message) {
    if (this.socket?.readyState === WebSocket.OPEN) this.socket.send(JSON.stringify(message));
  }
}

// The /stream address of the server that served this page.
export function streamUrl(location) {
  return `${location.protocol === 'https:' ? 'wss:' : 'ws:'}//${location.host}/stream`;
}
