// Runs a WebAssembly program of the build as if it were one of this system's: node tools/wasi.mjs PROGRAM ARGUMENT...
import { readFileSync } from 'node:fs';
import { argv, env, exit } from 'node:process';
import { WASI } from 'node:wasi';

const wasi = new WASI({ args: argv.slice(2), env, preopens: { '/': '/' } });
const { instance } = await WebAssembly.instantiate(readFileSync(argv[2]), {
    wasi_snapshot_preview1: wasi.wasiImport,
    env: { emscripten_notify_memory_growth() {} },
});
exit(wasi.start(instance) ?? 0);
