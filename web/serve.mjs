#!/usr/bin/env node
// Serves a folder of static files on the loopback address and prints where: serve.mjs FOLDER [PORT]
import { createReadStream, statSync } from 'node:fs';
import { createServer } from 'node:http';
import path from 'node:path';

const types = {
    '.css': 'text/css; charset=utf-8',
    '.html': 'text/html; charset=utf-8',
    '.js': 'text/javascript; charset=utf-8',
    '.json': 'application/json',
    '.svg': 'image/svg+xml',
    '.wasm': 'application/wasm',
};

const [folder, port = '8060'] = process.argv.slice(2);
if (!folder) {
    console.error('usage: serve.mjs FOLDER [PORT]');
    process.exit(2);
}
const root = path.resolve(folder);

function fileOf(address) {
    try {
        const file = path.join(root, decodeURIComponent(new URL(address, 'http://127.0.0.1').pathname));
        if (file !== root && !file.startsWith(root + path.sep)) return null;
        const found = statSync(file).isDirectory() ? path.join(file, 'index.html') : file;
        return { found, size: statSync(found).size };
    } catch {
        return null; // no such file, or no address
    }
}

const server = createServer((request, response) => {
    const file = fileOf(request.url);
    if (!file) {
        response.writeHead(404).end();
        return;
    }
    response.writeHead(200, {
        'Content-Type': types[path.extname(file.found)] ?? 'application/octet-stream',
        'Content-Length': file.size,
        'Cache-Control': 'no-cache',
    });
    if (request.method === 'HEAD') response.end();
    else createReadStream(file.found).pipe(response);
});
server.on('error', (error) => {
    console.error(`serve: ${error.message}`);
    process.exit(1);
});
server.listen(Number(port), '127.0.0.1', () => console.log(`http://127.0.0.1:${server.address().port}/`));
