import { StreamError } from './ByteReader.js';

// The stream bytes from the base64 text that the export put into the page.
export function readModelData(text) {
  const data = text.trim();
  if (data === '' || data.startsWith('<')) {
    throw new StreamError('This page holds no model data.');
  }
  return decodeBase64(data);
}

function decodeBase64(text) {
  try {
    if (Uint8Array.fromBase64) return Uint8Array.fromBase64(text);
    const binary = atob(text);
    const out = new Uint8Array(binary.length);
    for (let i = 0; i < binary.length; i++) out[i] = binary.charCodeAt(i);
    return out;
  } catch {
    throw new StreamError('The model data of this page is not valid base64 text.');
  }
}
