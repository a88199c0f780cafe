type Child = Node | string | null | false | undefined;
type Attributes = Record<string, string | number | boolean | ((event: never) => void) | null | undefined>;

/** Makes an element: attributes, listeners (`onclick`), children. Texts are never read as HTML. */
export function h<K extends keyof HTMLElementTagNameMap>(
  tag: K,
  attributes: Attributes = {},
  ...children: Child[]
): HTMLElementTagNameMap[K] {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (value === null || value === undefined || value === false) continue;
    if (typeof value === 'function') element.addEventListener(name.slice(2), value as EventListener);
    else element.setAttribute(name, value === true ? '' : String(value));
  }
  for (const child of children) if (child) element.append(child);
  return element;
}

/** Hands a file to the user. */
export function download(name: string, blob: Blob): void {
  const link = h('a', { href: URL.createObjectURL(blob), download: name });
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 10_000);
}

/** Copies a text, also where the clipboard interface is not to be had, as on a page opened from a file. */
export async function copyText(text: string): Promise<void> {
  try {
    await navigator.clipboard.writeText(text);
    return;
  } catch {
    const area = h('textarea', { class: 'copied' });
    area.value = text;
    document.body.append(area);
    area.select();
    document.execCommand('copy');
    area.remove();
  }
}
