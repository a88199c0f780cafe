// Colours of curves and of labels, told apart on light and on dark ground.

const curves = [
  '#1f77d0',
  '#e8710a',
  '#1a9e5c',
  '#c2378f',
  '#8a63d2',
  '#b58900',
  '#0aa5b5',
  '#d9423a',
  '#6b7f3f',
  '#9c5b3b',
];
const bands = [
  '#4e8fd9',
  '#e39a3b',
  '#58b07a',
  '#c9649f',
  '#9a7fd6',
  '#c6b23c',
  '#4fb3bd',
  '#d9706a',
  '#93a55f',
  '#b28368',
];

/** A colour for each key, kept as long as the key is in use: the first that no other one has. */
export class CurveColours {
  private readonly places = new Map<string, number>();

  /** Forgets the keys that are not among these, and finds places for new ones. */
  use(keys: string[]): void {
    const wanted = new Set(keys);
    for (const key of [...this.places.keys()]) if (!wanted.has(key)) this.places.delete(key);
    for (const key of wanted) {
      if (this.places.has(key)) continue;
      const taken = new Set(this.places.values());
      let place = 0;
      while (taken.has(place)) place++;
      this.places.set(key, place);
    }
  }

  of(key: string): string {
    return curves[(this.places.get(key) ?? 0) % curves.length];
  }
}

/** The colour of the value of an enumeration or text. */
export const labelColour = (value: number): string =>
  bands[((Math.round(value) % bands.length) + bands.length) % bands.length];

/** A colour of the theme, by the name of its CSS variable. */
export function themeColour(name: string): string {
  return getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();
}
