// Times as seconds or as hours, minutes, seconds.

const digitsFor = (step: number): number => Math.max(0, Math.min(9, Math.ceil(-Math.log10(step) - 1e-9)));

/** Seconds with as many digits as a step needs. */
export function secondsText(seconds: number, step: number): string {
  return (Object.is(seconds, -0) ? 0 : seconds).toFixed(digitsFor(step));
}

/** `1:02:03.5`; minutes and seconds always have two digits. */
export function clockText(seconds: number, step: number): string {
  const digits = digitsFor(step);
  const scale = 10 ** digits;
  const all = Math.round(Math.abs(seconds) * scale);
  const rest = all % (60 * scale);
  const minutes = Math.floor(all / (60 * scale));
  const secondsPart = (rest / scale).toFixed(digits).padStart(digits > 0 ? digits + 3 : 2, '0');
  const sign = seconds < 0 && all > 0 ? '-' : '';
  return `${sign}${Math.floor(minutes / 60)}:${String(minutes % 60).padStart(2, '0')}:${secondsPart}`;
}

/** A time for people: enough digits to tell pixels apart. */
export function timeText(seconds: number, step: number, clock: boolean): string {
  return clock ? clockText(seconds, step) : secondsText(seconds, step);
}

/** Steps of an axis that shows hours, minutes, seconds. */
export const clockSteps: number[] = [
  ...[1e-6, 1e-5, 1e-4, 1e-3, 1e-2, 1e-1].flatMap((step) => [step, 2 * step, 5 * step]),
  1,
  2,
  5,
  10,
  15,
  30,
  60,
  120,
  300,
  600,
  900,
  1800,
  3600,
  7200,
  10800,
  21600,
  43200,
  86400,
  172800,
  432000,
  864000,
];

/** Reads `12.5`, `1:02`, `1:02:03.5`; null if it is none of them. */
export function parseTime(text: string): number | null {
  const match = /^\s*(-?)(?:(?:(\d+):)?(\d+):)?(\d+(?:\.\d*)?|\.\d+)(e[-+]?\d+)?\s*$/i.exec(text);
  if (!match) return null;
  const [, sign, hours, minutes, seconds, exponent] = match;
  const value = Number(hours ?? 0) * 3600 + Number(minutes ?? 0) * 60 + Number(seconds + (exponent ?? ''));
  return sign ? -value : value;
}
