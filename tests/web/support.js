// What the tests in the browser share: a server of the files that were built, Debian's Chromium, and programs: what is
// to be heard, as data, which a page and the native engine both render.

import { execFileSync } from 'node:child_process';
import { readFileSync, writeFileSync } from 'node:fs';
import { readFile } from 'node:fs/promises';
import { createServer } from 'node:http';
import { createRequire } from 'node:module';
import { extname, join, normalize } from 'node:path';
import { fileURLToPath } from 'node:url';

export const root = fileURLToPath(new URL('../../', import.meta.url));
export const build = join(root, 'build');
const { chromium } = createRequire(join(build, 'node/'))('playwright-core');

const TYPES = {
    '.html': 'text/html',
    '.js': 'text/javascript',
    '.css': 'text/css',
    '.wasm': 'application/wasm',
    '.json': 'application/json',
};
const FOLDERS = {
    '/kalmarble/': join(build, 'wasm-release/web/package'),
    '/data/': join(root, 'data'),
    '/scenes/': join(root, 'scenes'),
    '/tests/': join(root, 'tests/web'),
    '/installed/': join(build, 'web-user/node_modules/kalmarble'),
    '/usr/share/sounds/': '/usr/share/sounds',
    '/': join(build, 'stage'),
};

/**
 * Serves the folders above on the loopback address, with functions that change the text of files. Returns the server
 * and its URL.
 */
export async function serve(changes = {}) {
    const server = createServer(async (request, response) => {
        const path = normalize(decodeURIComponent(new URL(request.url, 'http://x').pathname));
        if (path === '/favicon.ico') return response.writeHead(204).end();
        const prefix = Object.keys(FOLDERS).find((start) => path.startsWith(start));
        const file = join(FOLDERS[prefix], path.slice(prefix.length) || 'index.html');
        try {
            const bytes = await readFile(file);
            const body = changes[path]?.(String(bytes)) ?? bytes;
            response.writeHead(200, { 'Content-Type': TYPES[extname(file)] ?? 'application/octet-stream' }).end(body);
        } catch {
            response.writeHead(404).end();
        }
    });
    await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
    return { url: `http://127.0.0.1:${server.address().port}`, close: () => server.close() };
}

/** Debian's Chromium, which needs neither a sandbox nor a click to sound here, and calls nobody. */
export function launch() {
    const quiet = ['disable-background-networking', 'disable-component-update', 'disable-sync', 'no-first-run'];
    const args = ['no-sandbox', 'autoplay-policy=no-user-gesture-required', ...quiet];
    return chromium.launch({ executablePath: '/usr/bin/chromium', args: args.map((name) => `--${name}`) });
}

/** An empty page at a server, whose errors end up in `page.faults`. */
export async function openPage(browser, server, path = '/tests/empty.html', options = {}) {
    const page = await browser.newPage(options);
    page.faults = [];
    page.on('console', (message) => message.type() === 'error' && page.faults.push(message.text()));
    page.on('pageerror', (error) => page.faults.push(error.message));
    await page.goto(server.url + path);
    return page;
}

/** Renders a program in a page, by an OfflineAudioContext; interleaved samples. */
export async function renderInPage(page, program) {
    const text = await page.evaluate(async (given) => (await import('/tests/render.js')).renderAsText(given), program);
    return new Float32Array(Uint8Array.from(Buffer.from(text, 'base64')).buffer);
}

/** Renders a program by the native engine, SSE2 table, blocks of 128 frames. */
export function renderNatively(program) {
    const file = join(build, 'web-program.json');
    const out = join(build, 'web-reference.raw');
    writeFileSync(file, JSON.stringify(program));
    execFileSync(join(build, 'linux-release/tests/web/web_reference'), [file, out], { stdio: 'inherit' });
    return new Float32Array(new Uint8Array(readFileSync(out)).buffer);
}

/** The samples of a WAV file: the bytes, and as floats if they are. */
export function readWav(file) {
    const bytes = readFileSync(file);
    const data = bytes.indexOf('data');
    const samples = new Uint8Array(bytes.subarray(data + 8, data + 8 + bytes.readUInt32LE(data + 4)));
    return { bytes: samples, floats: () => new Float32Array(samples.buffer) };
}

/** How far two signals lie apart, in dB of the first one. */
export function distanceDb(expected, found) {
    if (expected.length !== found.length) return Infinity;
    let difference = 0;
    let energy = 0;
    for (let i = 0; i < expected.length; ++i) {
        difference += (expected[i] - found[i]) ** 2;
        energy += expected[i] ** 2;
    }
    return 10 * Math.log10(difference / energy);
}
