// Runs a WebAssembly program of the build as if it were one of this system's: node tools/wasi.mjs PROGRAM ARGUMENT...
import { readFileSync } from 'node:fs';
import { argv, env, exit } from 'node:process';
import { WASI } from 'node:wasi';

const program = new WebAssembly.Module(readFileSync(argv[2]));
const wasi = new WASI({ args: argv.slice(2), env });
// The compiler's own system calls, which no program needs to succeed, and its notice of grown memory.
const noSuchCall = -52;
const others = WebAssembly.Module.imports(program).filter(({ module }) => module === 'env');
const instance = new WebAssembly.Instance(program, {
    wasi_snapshot_preview1: wasi.wasiImport,
    env: Object.fromEntries(others.map(({ name }) => [name, () => noSuchCall])),
});
exit(wasi.start(instance) ?? 0);
