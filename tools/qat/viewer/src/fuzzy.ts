// Fuzzy search: every word of the query is found in the text with its letters in order.

const isBoundary = (text: string, at: number): boolean => at === 0 || /[^a-z0-9]/.test(text[at - 1]);

/** How well a word fits a text in lower case; 0 if it does not. Neighbours and beginnings of words count more. */
export function wordScore(word: string, text: string): number {
  const whole = text.indexOf(word);
  if (whole >= 0) {
    const wordsEnd = whole + word.length;
    const isWhole = isBoundary(text, whole) && (wordsEnd === text.length || /[^a-z0-9]/.test(text[wordsEnd]));
    return 1000 + (isBoundary(text, whole) ? 200 : 0) + (isWhole ? 200 : 0) - Math.min(100, text.length / 4);
  }
  let score = 0;
  let at = -1;
  for (const letter of word) {
    const next = text.indexOf(letter, at + 1);
    if (next < 0) return 0;
    score += next === at + 1 ? 8 : isBoundary(text, next) ? 6 : 1;
    at = next;
  }
  // Letters far apart are a coincidence rather than an abbreviation.
  return score >= word.length * 4 ? score : 0;
}

/** The texts of a signal that are searched, in lower case, and what each counts. */
export interface SearchTexts {
  name: string;
  path: string;
  unit: string;
}

/** How well a signal fits a query of one or more words; 0 if any word fits nowhere. */
export function signalScore(words: string[], texts: SearchTexts): number {
  let sum = 0;
  for (const word of words) {
    const unit = texts.unit === word || texts.unit === word.replace(/^\[|\]$/g, '') ? 900 : 0;
    const best = Math.max(wordScore(word, texts.name), wordScore(word, texts.path) / 2, unit);
    if (best === 0) return 0;
    sum += best;
  }
  return sum;
}
