// Starts the viewer, whose script the page holds compressed (deflate, then
// base64): the browser inflates it and runs it as a script of the page.
// While the browser inflates, the main thread is free, and makes the WebGL
// context that the viewer will draw into (window.qxEarlyContext).
(async () => {
  const text = document.getElementById('qx-viewer-code').textContent.trim();
  const bytes = Uint8Array.fromBase64 ? Uint8Array.fromBase64(text) : Uint8Array.from(atob(text), (c) => c.charCodeAt(0));
  const inflater = new DecompressionStream('deflate-raw');
  const input = inflater.writable.getWriter();
  input.write(bytes).catch(() => {}); // a failure shows in the text below
  input.close().catch(() => {});
  const inflated = new Response(inflater.readable).text();
  const canvas = document.createElement('canvas');
  // At the size it will have, so that the viewer's first resize is no new start.
  canvas.width = Math.floor(window.innerWidth * window.devicePixelRatio);
  canvas.height = Math.floor(window.innerHeight * window.devicePixelRatio);
  const gl = canvas.getContext('webgl2', { alpha: false, antialias: false, depth: true, stencil: false, premultipliedAlpha: true });
  window.qxEarlyContext = gl && { canvas, gl };
  const script = document.createElement('script');
  script.textContent = await inflated;
  document.body.append(script);
})().catch((err) => {
  const box = document.getElementById('qx-error');
  box.textContent = `This browser can't start the viewer (${err.message}).`;
  box.hidden = false;
  window.qxViewerError = box.textContent;
  document.documentElement.setAttribute('data-qx-error', box.textContent);
});
