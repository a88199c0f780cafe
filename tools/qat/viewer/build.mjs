// Bundles src/ into one HTML file that needs nothing else: dist/page.html.
import { build } from 'esbuild';
import { mkdirSync, readFileSync, writeFileSync } from 'node:fs';

const result = await build({
  entryPoints: ['src/main.ts'],
  bundle: true,
  minify: true,
  write: false,
  format: 'iife',
  target: 'es2021',
  charset: 'utf8',
  legalComments: 'none',
  loader: { '.css': 'text' },
});
const script = result.outputFiles[0].text.trim();
const styles = ['node_modules/uplot/dist/uPlot.min.css', 'src/style.css'].map((file) => readFileSync(file, 'utf8'));
const page = readFileSync('src/page.html', 'utf8')
  .replace('/*styles*/', () => styles.join('\n'))
  .replace('/*script*/', () => script);
mkdirSync('dist', { recursive: true });
writeFileSync('dist/page.html', page);
console.log(`dist/page.html: ${page.length} characters`);
