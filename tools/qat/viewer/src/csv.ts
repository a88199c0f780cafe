const field = (text: string): string => (/[",\r\n]/.test(text) ? `"${text.replace(/"/g, '""')}"` : text);

/** A line of CSV (RFC 4180). */
export const csvLine = (cells: string[]): string => `${cells.map(field).join(',')}\r\n`;
