/** A number to six digits, for people. */
export function numberText(value: number | null | undefined): string {
  if (value === null || value === undefined) return '';
  if (!Number.isFinite(value)) return String(value);
  const size = Math.abs(value);
  if (size !== 0 && (size < 1e-4 || size >= 1e7)) return trimmed(value.toExponential(5));
  return trimmed(value.toPrecision(6));
}

function trimmed(text: string): string {
  const [mantissa, exponent] = text.split('e');
  const short = mantissa.includes('.') ? mantissa.replace(/\.?0+$/, '') : mantissa;
  return exponent === undefined ? short : `${short}e${exponent.replace('+', '')}`;
}
