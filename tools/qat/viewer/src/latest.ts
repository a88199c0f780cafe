/** Runs one task at a time; what is asked for meanwhile runs once afterwards. */
export class Latest {
  private isRunning = false;
  private running: Promise<void> = Promise.resolve();
  private isWanted = false;

  constructor(private readonly task: () => Promise<void>) {}

  /** Resolves when nothing is asked for any more. */
  idle(): Promise<void> {
    return this.running;
  }

  ask(): void {
    this.isWanted = true;
    if (!this.isRunning) this.running = this.run();
  }

  private async run(): Promise<void> {
    this.isRunning = true;
    while (this.isWanted) {
      this.isWanted = false;
      await this.task();
    }
    this.isRunning = false;
  }
}
