export type Theme = 'auto' | 'light' | 'dark';

const key = 'qat-theme';
const dark = matchMedia('(prefers-color-scheme: dark)');

function stored(): Theme {
  try {
    const theme = localStorage.getItem(key);
    return theme === 'light' || theme === 'dark' ? theme : 'auto';
  } catch {
    return 'auto'; // a page opened from a file may have no storage
  }
}

/** Light or dark: what the user chose, else what the system says. */
export class ThemeSwitch {
  private theme = stored();

  constructor(private readonly onChange: () => void) {
    dark.addEventListener('change', () => this.apply());
    this.apply();
  }

  get isDark(): boolean {
    return this.theme === 'auto' ? dark.matches : this.theme === 'dark';
  }

  toggle(): void {
    this.theme = this.isDark ? 'light' : 'dark';
    try {
      localStorage.setItem(key, this.theme);
    } catch {
      // Then it holds for this page alone.
    }
    this.apply();
  }

  private apply(): void {
    document.documentElement.dataset.theme = this.isDark ? 'dark' : 'light';
    this.onChange();
  }
}
