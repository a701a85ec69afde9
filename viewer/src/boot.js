// Starts the viewer, whose script the page holds compressed (deflate, then
// base64): the browser inflates it and runs it as a script of the page.
(async () => {
  const text = document.getElementById('qx-viewer-code').textContent.trim();
  const bytes = Uint8Array.fromBase64 ? Uint8Array.fromBase64(text) : Uint8Array.from(atob(text), (c) => c.charCodeAt(0));
  const inflated = new Blob([bytes]).stream().pipeThrough(new DecompressionStream('deflate-raw'));
  const script = document.createElement('script');
  script.textContent = await new Response(inflated).text();
  document.body.append(script);
})().catch((err) => {
  const box = document.getElementById('qx-error');
  box.textContent = `This browser can't start the viewer (${err.message}).`;
  box.hidden = false;
  window.qxViewerError = box.textContent;
  document.documentElement.setAttribute('data-qx-error', box.textContent);
});
