import type { Files } from './files';
import { elementText, widthOf } from './files';
import type { SearchTexts } from './fuzzy';
import { signalScore } from './fuzzy';
import type { FileKey, SignalRecord, TraceId } from './types';

/** Elements of one signal that the tree lists. */
const mostElements = 4096;

/** A row of the list: a group of signals, a signal, or an element of one. */
export interface Row {
  key: string;
  depth: number;
  label: string;
  /** Block path, where the row is a hit of a search. */
  detail: string;
  /** Absent for a group. */
  trace: TraceId | null;
  signal: SignalRecord | null;
  /** Signals or elements below; 0 if the row cannot be opened. */
  count: number;
}

interface Group {
  key: string;
  label: string;
  groups: Map<string, Group>;
  order: (Group | Leaf)[];
  count: number;
}

interface Leaf {
  file: FileKey;
  number: number;
  label: string;
  signal: SignalRecord;
}

/** The signals of the first file, then those that only the second has, as datasets, elements and levels of buses. */
export class SignalTree {
  private readonly root: Group = newGroup('', '');
  private readonly leaves: { leaf: Leaf; texts: SearchTexts }[] = [];

  constructor(files: Files) {
    const first = files.records[0].signals.map((signal, number) => ({ file: 'a' as FileKey, number, signal }));
    const second = files.hasTwo
      ? files.records[1].signals.map((signal, number) => ({ file: 'b' as FileKey, number, signal }))
      : [];
    const onlySecond = second.filter(({ signal }) => signal && files.numberOf('a', signal.name) === undefined);
    for (const { file, number, signal } of [...first, ...onlySecond]) {
      if (signal) this.add(file, number, signal, files);
    }
  }

  get size(): number {
    return this.leaves.length;
  }

  /** The rows to list: those of open groups, or what a query finds, best first. */
  rows(query: string, open: ReadonlySet<string>): Row[] {
    const words = query.toLowerCase().split(/\s+/).filter(Boolean);
    const rows: Row[] = [];
    if (words.length === 0) {
      // One dataset needs no level of its own.
      const only = this.root.order.length === 1 ? this.root.order[0] : null;
      listGroup(only && 'order' in only ? only : this.root, 0, open, rows);
      return rows;
    }
    const hits = this.leaves
      .map(({ leaf, texts }) => ({ leaf, score: signalScore(words, texts) }))
      .filter((hit) => hit.score > 0)
      .sort((a, b) => b.score - a.score);
    for (const { leaf } of hits) {
      const row = rowOf(leaf, 0);
      rows.push({ ...row, label: leaf.signal.name, detail: leaf.signal.blockPath.join(' | ') });
      if (open.has(row.key)) listElements(leaf, 1, rows);
    }
    return rows;
  }

  /** Keys of the groups that are open at first: all, unless that makes a long list. */
  openAtFirst(): Set<string> {
    const open = new Set<string>();
    const visit = (group: Group): void => {
      open.add(group.key);
      for (const child of group.order) if ('order' in child) visit(child);
    };
    if (this.size <= 60) visit(this.root);
    else for (const child of this.root.order) if ('order' in child) open.add(child.key);
    return open;
  }

  private add(file: FileKey, number: number, signal: SignalRecord, files: Files): void {
    const dataset = (signal.dataset || '(no dataset)') + (file === 'b' ? ` · only in ${files.fileName('b')}` : '');
    let group = childOf(this.root, dataset);
    const { name, element } = signal;
    // The element's own name may contain dots; only what is behind it are levels of a bus.
    const head = element !== '' && name.startsWith(`${element}.`) ? element : '';
    const parts = head ? [head, ...name.slice(head.length + 1).split('.')] : [name];
    for (const part of parts.slice(0, -1)) group = childOf(group, part);
    const leaf = { file, number, signal, label: parts[parts.length - 1] };
    group.order.push(leaf);
    for (let at: Group | undefined = this.root, i = -1; at; i++) {
      at.count++;
      at = i < 0 ? at.groups.get(dataset) : i < parts.length - 1 ? at.groups.get(parts[i]) : undefined;
    }
    const texts = {
      name: name.toLowerCase(),
      path: signal.blockPath.join('|').toLowerCase(),
      unit: signal.unit.toLowerCase(),
    };
    this.leaves.push({ leaf, texts });
  }
}

const newGroup = (key: string, label: string): Group => ({ key, label, groups: new Map(), order: [], count: 0 });

function childOf(group: Group, label: string): Group {
  let child = group.groups.get(label);
  if (!child) {
    child = newGroup(`${group.key}/${label}`, label);
    group.groups.set(label, child);
    group.order.push(child);
  }
  return child;
}

function listGroup(group: Group, depth: number, open: ReadonlySet<string>, rows: Row[]): void {
  for (const child of group.order) {
    if ('order' in child) {
      rows.push({
        key: child.key,
        depth,
        label: child.label,
        detail: '',
        trace: null,
        signal: null,
        count: child.count,
      });
      if (open.has(child.key)) listGroup(child, depth + 1, open, rows);
    } else {
      const row = rowOf(child, depth);
      rows.push(row);
      if (open.has(row.key)) listElements(child, depth + 1, rows);
    }
  }
}

function rowOf(leaf: Leaf, depth: number): Row {
  const width = widthOf(leaf.signal);
  const trace = width > 0 ? { file: leaf.file, signal: leaf.number, element: 0 } : null;
  const key = `${leaf.file}.${leaf.number}`;
  return { key, depth, label: leaf.label, detail: '', trace, signal: leaf.signal, count: width > 1 ? width : 0 };
}

function listElements(leaf: Leaf, depth: number, rows: Row[]): void {
  const count = Math.min(mostElements, widthOf(leaf.signal));
  for (let element = 0; element < count; element++) {
    const trace = { file: leaf.file, signal: leaf.number, element };
    const label = elementText(leaf.signal.dimensions, element);
    rows.push({
      key: `${leaf.file}.${leaf.number}.${element}`,
      depth,
      label,
      detail: '',
      trace,
      signal: leaf.signal,
      count: 0,
    });
  }
}
