import { App } from './app';
import { h } from './dom';
import { Files } from './files';
import { ServerSource } from './server_source';
import type { PageData } from './static_source';
import { StaticSource } from './static_source';

async function start(): Promise<void> {
  const data = (window as unknown as { qatData?: PageData }).qatData;
  const source = data ? new StaticSource(data) : new ServerSource();
  const root = document.getElementById('app') as HTMLElement;
  try {
    const { version, files } = await source.files();
    new App(root, source, new Files(files), version, data?.show ?? null);
    performance.mark('qat listed'); // for who measures the page
  } catch (error) {
    root.append(h('p', { class: 'fatal', role: 'alert' }, error instanceof Error ? error.message : String(error)));
  }
}

void start();
