import type { Series } from './types';

/** Reads what the question `series` answers: per curve u32 count, u32 reduced, f64 x, f64 y. */
export function readSeries(bytes: ArrayBuffer): Series[] {
  const head = new DataView(bytes);
  const curves: Series[] = [];
  for (let at = 0; at < bytes.byteLength; ) {
    const count = head.getUint32(at, true);
    const reduced = head.getUint32(at + 4, true) !== 0;
    at += 8;
    curves.push({
      x: new Float64Array(bytes, at, count),
      y: new Float64Array(bytes, at + 8 * count, count),
      reduced,
    });
    at += 16 * count;
  }
  return curves;
}

/** Bytes of a base64 text. */
export function bytesOfBase64(text: string): ArrayBuffer {
  const binary = atob(text);
  const bytes = new Uint8Array(binary.length);
  for (let i = 0; i < binary.length; i++) bytes[i] = binary.charCodeAt(i);
  return bytes.buffer;
}
