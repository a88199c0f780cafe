import { h } from './dom';
import type { Files } from './files';
import { parseTime, timeText } from './time_text';
import type { Range } from './types';
import type { View } from './view';

export interface ToolbarActions {
  setRange(range: Range | null): void;
  scaleCentre(factor: number): void;
  changed(): void;
  toggleList(): void;
  toggleTheme(): void;
  copyLink(): void;
  copyTable(): void;
  /** Whether the end of a growing file is followed. */
  follow(isOn: boolean): void;
  clear(): void;
}

/** The line at the top: files, range of time, and what holds for the whole view. */
export class Toolbar {
  readonly element: HTMLElement;
  private readonly names = h('div', { class: 'names' });
  private readonly live = h('button', {
    class: 'live',
    hidden: true,
    onclick: () => this.actions.follow(this.view.range !== null),
  });
  private readonly compare: HTMLElement;
  private readonly clock: HTMLElement;
  private readonly from: HTMLInputElement;
  private readonly to: HTMLInputElement;
  private range: Range = { from: 0, to: 1 };

  constructor(
    private readonly view: View,
    private readonly actions: ToolbarActions,
  ) {
    const button = (text: string, title: string, onclick: () => void, more: Record<string, string> = {}): HTMLElement =>
      h('button', { title, 'aria-label': title, onclick, ...more }, text);
    this.from = this.timeField('First time');
    this.to = this.timeField('Last time');
    this.compare = button('both files', 'Draw the second file, too', () => {
      view.compare = !view.compare;
      actions.changed();
    });
    this.clock = button('h:m:s', 'Times as hours, minutes, seconds', () => {
      view.clock = !view.clock;
      actions.changed();
    });
    this.element = h(
      'header',
      { class: 'toolbar' },
      button('☰', 'Signals', actions.toggleList, { class: 'list-button' }),
      this.names,
      this.live,
      h(
        'div',
        { class: 'times-group' },
        this.from,
        h('span', {}, '–'),
        this.to,
        button('−', 'Show more (-)', () => actions.scaleCentre(2)),
        button('+', 'Show less (+)', () => actions.scaleCentre(0.5)),
        button('all', 'Show all (0)', () => actions.setRange(null)),
      ),
      h(
        'div',
        { class: 'buttons' },
        this.compare,
        this.clock,
        button('copy table', 'Copy the table of values as CSV', actions.copyTable),
        button('copy link', 'Copy the address of this view', actions.copyLink),
        button('clear', 'Remove all plots', actions.clear),
        button('◐', 'Light or dark', actions.toggleTheme),
      ),
    );
  }

  setFiles(files: Files): void {
    const names = files.records.map((record, i) =>
      h('span', { title: record.file }, files.fileName(i === 0 ? 'a' : 'b')),
    );
    this.names.replaceChildren(...(names.length > 1 ? [names[0], h('i', {}, ' ⁄ '), names[1]] : names));
    this.compare.hidden = !files.hasTwo;
    this.setComplete(files.records.every((record) => record.complete));
  }

  setComplete(isComplete: boolean): void {
    this.live.hidden = isComplete;
  }

  update(range: Range, step: number): void {
    const { view } = this;
    this.range = range;
    this.compare.setAttribute('aria-pressed', String(view.compare));
    this.clock.setAttribute('aria-pressed', String(view.clock));
    if (document.activeElement !== this.from) this.from.value = timeText(range.from, step, view.clock);
    if (document.activeElement !== this.to) this.to.value = timeText(range.to, step, view.clock);
    const isFollowing = view.range === null;
    this.live.textContent = isFollowing ? '● live' : '○ live';
    this.live.title = isFollowing ? 'The plots follow the run; click to stop' : 'Follow the end of the run';
    this.live.setAttribute('aria-pressed', String(isFollowing));
  }

  private timeField(label: string): HTMLInputElement {
    return h('input', {
      class: 'time',
      'aria-label': label,
      title: `${label} in sight, in seconds or h:min:s`,
      inputmode: 'text',
      autocomplete: 'off',
      onchange: () => this.take(),
      onkeydown: (event: KeyboardEvent) => {
        if (event.key === 'Enter') (event.target as HTMLElement).blur();
      },
    });
  }

  private take(): void {
    const [from, to] = [parseTime(this.from.value), parseTime(this.to.value)];
    if (from !== null && to !== null && from < to) this.actions.setRange({ from, to });
    else this.actions.setRange(this.range);
  }
}
