import type { Source } from './types';

/** Milliseconds between two questions about files that grow, and about those that do not. */
const period = { live: 1000, complete: 3000 };

/** Asks now and then whether files have grown, or were written anew. */
export class Follower {
  constructor(
    private readonly source: Source,
    private version: number,
    private readonly onGrowth: () => Promise<void>,
    private readonly onState: (isComplete: boolean) => void,
  ) {
    void this.ask();
  }

  private async ask(): Promise<void> {
    let isComplete = true;
    try {
      const state = await this.source.state();
      isComplete = state.files.every((file) => file.complete);
      this.onState(isComplete);
      if (state.version !== this.version) await this.onGrowth();
      this.version = state.version;
    } catch {
      this.onState(true); // the server has ended, or cannot answer now
    }
    setTimeout(() => void this.ask(), isComplete ? period.complete : period.live);
  }
}
