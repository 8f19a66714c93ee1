// The page as its users find it: with a mouse, by the keyboard, on a phone, with files of their own.

import assert from 'node:assert/strict';
import { execFileSync, spawn } from 'node:child_process';
import { mkdirSync, readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, before, test } from 'node:test';

import { build, distanceDb, launch, openPage, root } from './support.js';

const pictures = join(build, 'stage-pictures');
let served, url, browser, page;
const elsewhere = [];

before(async () => {
    mkdirSync(pictures, { recursive: true });
    served = spawn(process.execPath, [join(root, 'web/serve.mjs'), join(build, 'stage'), '0']);
    url = await new Promise((resolve) => served.stdout.once('data', (text) => resolve(String(text).trim())));
    browser = await launch();
    page = await open({ viewport: { width: 1440, height: 900 } });
});

after(async () => {
    await browser?.close();
    served?.kill();
    assert.deepEqual([page.faults, elsewhere], [[], []]);
});

async function open(options, path = '') {
    const opened = await openPage(browser, { url }, path, { colorScheme: 'dark', acceptDownloads: true, ...options });
    opened.on(
        'request',
        (request) =>
            /^(https?|wss?):/.test(request.url()) && !request.url().startsWith(url) && elsewhere.push(request.url()),
    );
    await opened.locator('#top .sound').first().waitFor();
    return opened;
}

const marker = (name) => page.locator(`#top [data-name="${name}"]`);
const label = (name) => marker(name).getAttribute('aria-label');
const message = () => page.locator('#message').textContent();
const said = (pattern) =>
    page.waitForFunction(
        (source) => new RegExp(source).test(document.getElementById('message').textContent),
        pattern.source,
    );

/** The level of both ears, and how much louder the right one is, dB, over a second of sound. */
async function heard() {
    await page.waitForTimeout(400); // what was heard before is gone
    return page.evaluate(async () => {
        const powers = [0, 0];
        for (let i = 0; i < 20; ++i) {
            await new Promise((resolve) => setTimeout(resolve, 50));
            document.querySelectorAll('#levels [role=meter]').forEach((meter, side) => {
                powers[side] += 10 ** (meter.getAttribute('aria-valuenow') / 10);
            });
        }
        const [left, right] = powers.map((power) => 10 * Math.log10(power / 20));
        return { level: Math.max(left, right), rightOverLeft: right - left };
    });
}

async function isOn(side, what) {
    const { level, rightOverLeft } = await heard();
    assert.ok(side === 'left' ? rightOverLeft < -1 : rightOverLeft > 1, `${what ?? side}: ${rightOverLeft} dB`);
    return level;
}

/** Drags a node of the page by pixels. */
async function drag(node, dx, dy) {
    const { x, y, width, height } = await node.boundingBox();
    await page.mouse.move(x + width / 2, y + height / 2);
    await page.mouse.down();
    await page.mouse.move(x + width / 2 + dx, y + height / 2 + dy, { steps: 5 });
    await page.mouse.up();
}

/** Drops a file onto the page. */
async function drop(name, bytes) {
    const data = await page.evaluateHandle(
        ([called, text]) => {
            const transfer = new DataTransfer();
            transfer.items.add(new File([Uint8Array.from(atob(text), (c) => c.charCodeAt(0))], called));
            return transfer;
        },
        [name, Buffer.from(bytes).toString('base64')],
    );
    await page.dispatchEvent('body', 'drop', { dataTransfer: data });
}

/** A second of noise, 8 bits, mono, at 22,050 Hz. */
function wavFile() {
    const header = Buffer.from('RIFF....WAVEfmt ....................data....', 'latin1');
    const samples = Buffer.from(Array.from({ length: 22050 }, (_, i) => ((i * i * 7919) >>> 5) & 255));
    header.writeUInt32LE(36 + samples.length, 4);
    header.writeUInt32LE(16, 16);
    [1, 1].forEach((x, i) => header.writeUInt16LE(x, 20 + 2 * i));
    [22050, 22050].forEach((x, i) => header.writeUInt32LE(x, 24 + 4 * i));
    [1, 8].forEach((x, i) => header.writeUInt16LE(x, 32 + 2 * i));
    header.writeUInt32LE(samples.length, 40);
    return Buffer.concat([header, samples]);
}

test('Start sounds; what is dragged is heard where it went, and turning turns it', async (t) => {
    const first = await page.evaluate(async () => {
        const start = performance.now();
        document.getElementById('start').click();
        while (!/\d/.test(document.querySelector('#levels output').value))
            await new Promise((resolve) => setTimeout(resolve, 5));
        return performance.now() - start;
    });
    t.diagnostic(`first sound shown after ${first.toFixed(0)} ms`);
    await marker('Bee').click();
    await page.check('#solo');
    assert.match(await label('Bee'), /left/);
    await isOn('left');
    const before = await label('Bee');
    await drag(marker('Bee').locator('.dot'), 250, -60);
    assert.match(await label('Bee'), /, \d+ degrees right, /);
    await isOn('right');
    await drag(page.locator('#height [data-name="Bee"] .dot'), 0, 40);
    await page.waitForTimeout(600);
    assert.match(await label('Bee'), /degrees down/);
    await drag(page.locator('.handle .dot'), 5, 120);
    await isOn('left');
    for (let i = 0; i < 3; ++i) await page.click('#undo');
    await page.waitForTimeout(600);
    assert.equal(await label('Bee'), before);
    assert.ok(await page.isDisabled('#undo'));
});

test('the keyboard moves, raises, deletes and takes back', async () => {
    await page.focus('.listener');
    await page.keyboard.press('Tab'); // the handle
    await page.keyboard.press('Tab');
    assert.equal(await page.evaluate(() => document.activeElement.dataset.name), 'Guitar');
    for (const key of ['ArrowRight', 'Shift+ArrowRight', 'ArrowRight', 'PageUp', 'PageUp', 'Shift+ArrowUp'])
        await page.keyboard.press(key);
    assert.match(await message(), /^Guitar: 2\.5 metres, straight ahead, 11 degrees up$/);
    await page.keyboard.press('Delete');
    assert.equal(await marker('Guitar').count(), 0);
    assert.equal(await page.evaluate(() => document.activeElement.dataset.name), 'Bell');
    await page.keyboard.press('Control+z');
    assert.equal(await marker('Guitar').count(), 1);
});

test('rooms ring for their size, and the three ways keep sides', async (t) => {
    await page.check('#rooms [value=free]', { force: true }); // and it stays so, with the small room's measures
    await page.check('#rooms [value=hall]', { force: true });
    assert.match(await page.textContent('#roomFacts'), /8,400 m³.*Rings for 1\.86 s/);
    await page.locator('#roomSliders input').nth(1).fill('400');
    assert.match(await page.textContent('#roomFacts'), /200 m long/);
    assert.ok(await page.isChecked('#rooms [value=free]'));
    const levels = [];
    for (const way of ['panner', 'stereo', 'engine']) {
        await page.check(`#ways [value=${way}]`, { force: true });
        await page.waitForFunction(() => /LUFS/.test(document.getElementById('wayFacts').textContent));
        levels.push(await isOn('left', way));
    }
    t.diagnostic(`levels ${levels.map((level) => level.toFixed(1))} dB`);
    assert.ok(Math.max(...levels) - Math.min(...levels) < 5, `${levels}`); // by themselves they are 13 dB apart
});

test('files are taken, and refused without a loss', async () => {
    const head = readFileSync(join(root, 'data/hrtf.kalhrtfd'));
    await drop('mine.kalhrtfd', head);
    await said(/head mine\.kalhrtfd/);
    assert.match(await page.textContent('#headFacts'), /^mine\.kalhrtfd: 710 measured directions/);
    await drop('half.kalhrtfd', head.subarray(0, 999));
    await said(/truncated/);
    assert.match(await page.textContent('#headFacts'), /^mine/);
    await drop('rain.wav', wavFile());
    await said(/Added rain\.wav/);
    await drop('no.mp3', Buffer.from('nothing'));
    await said(/no\.mp3 is no sound/);
    await drop('bad.json', Buffer.from('{"sounds": [{"file": "rain.wav", "gain": -1}], "rooom": {}}'));
    await said(/\/rooom: unknown here/);
    assert.match(await message(), /\/sounds\/0\/gain/);
    assert.equal(await page.locator('#top .sound').count(), 5);
    await isOn('left');
});

test('what is recorded is what kalrender writes for the scene that is saved', async (t) => {
    await page.uncheck('#solo');
    await page.click('button:text-is("Orbit")');
    await drop('rain.wav', wavFile());
    await said(/Added rain\.wav/);
    await page.click('#record');
    await page.fill('#seconds', '4');
    await page.selectOption('#bits', '32');
    const saved = async (button, name) => {
        const [download] = await Promise.all([page.waitForEvent('download'), page.click(button)]);
        await download.saveAs(join(build, 'stage-record', name));
    };
    await saved('#recordNow', 'page.wav');
    await saved('#save', 'scene.json');
    const folder = join(build, 'stage-record');
    writeFileSync(join(folder, 'rain.wav'), wavFile());
    const kalrender = join(build, 'linux-release/tools/kalrender/kalrender');
    execFileSync(kalrender, [
        '--quiet',
        '--threads',
        '1',
        join(folder, 'scene.json'),
        '-o',
        join(folder, 'kalrender.wav'),
    ]);
    const [found, expected] = ['page.wav', 'kalrender.wav'].map((name) =>
        samplesOf(readFileSync(join(folder, name))).subarray(0, 4 * 96000),
    );
    assert.equal(found.length, 4 * 96000);
    const distance = distanceDb(expected, found);
    t.diagnostic(`${distance.toFixed(1)} dB from kalrender's file`);
    assert.ok(distance < -100, `${distance} dB`);
    assert.ok(
        distanceDb(
            expected,
            found.map((x, i) => x + (i % 2 ? 0 : 1e-5)),
        ) > -100,
    ); // it hears a difference
});

const samplesOf = (wav) => new Float32Array(new Uint8Array(wav.subarray(wav.indexOf('data') + 8)).buffer);

test('a shared address opens the scene again; a broken one says so', async () => {
    await page.click('button:text-is("A quiet room")');
    await marker('Bell').focus();
    await page.keyboard.press('ArrowLeft');
    await page.click('#share');
    await said(/address/);
    const address = page.url();
    const again = await open({}, address.slice(url.length));
    assert.equal(await again.locator('#top [data-name=Bell]').getAttribute('aria-label'), await label('Bell'));
    assert.deepEqual(again.faults, []);
    await page.evaluate(() => (location.hash = location.hash.slice(0, -40)));
    await said(/part of it is missing/);
    assert.equal(await page.locator('#top .sound').count(), 4);
});

test('guided scenes sound, without a gap', async (t) => {
    for (const [scene, voices] of Object.entries({
        'Fly-over': 2,
        'A hundred bees': 100,
        'Footsteps in a hall': 2,
        Orbit: 2,
        'A quiet room': 4,
    })) {
        await page.click(`button:text-is("${scene}")`);
        await page.waitForTimeout(1500);
        assert.equal(Number(await page.textContent('[data-figure=voices]')), voices, scene);
        assert.ok((await heard()).level > -50, scene);
        await page.screenshot({ path: join(pictures, `${scene.replaceAll(' ', '-').toLowerCase()}.png`) });
    }
    const figures = await page.innerText('#figures');
    t.diagnostic(figures.replace(/\s+/g, ' '));
});

test('a phone has room for it, and fingers find everything', async () => {
    const phone = await open({
        viewport: { width: 390, height: 844 },
        hasTouch: true,
        colorScheme: 'light',
        reducedMotion: 'reduce',
    });
    await phone.tap('#start');
    const devtools = await phone.context().newCDPSession(phone);
    const bee = phone.locator('#top [data-name=Bee]');
    const { x, y } = await bee.locator('.touch').boundingBox();
    for (let moved = 0; moved <= 100; moved += 10) {
        const touchPoints = [{ x: x + 22 + moved, y: y + 22 - moved }];
        await devtools.send('Input.dispatchTouchEvent', { type: moved ? 'touchMove' : 'touchStart', touchPoints });
    }
    await devtools.send('Input.dispatchTouchEvent', { type: 'touchEnd', touchPoints: [] });
    await phone.waitForTimeout(1000);
    assert.match(await bee.getAttribute('aria-label'), /^Bee, 0\.6 metres, \d+ degrees right/); // the page did not scroll
    assert.equal(await phone.getByRole('slider', { name: 'Volume', exact: true }).count(), 1);
    const { width, small } = await phone.evaluate(() => ({
        width: document.documentElement.scrollWidth,
        small: [
            ...document.querySelectorAll(
                'button, select, summary, input:not([type=radio], [type=checkbox]), .check, .choices label, .touch',
            ),
        ]
            .map((node) => [node.id || node.outerHTML, node.getBoundingClientRect()])
            .filter(([, box]) => box.width > 0 && (box.width < 43.9 || box.height < 43.9))
            .map(([name]) => name),
    }));
    assert.equal(width, 390);
    assert.deepEqual(small, []);
    await phone.screenshot({ path: join(pictures, 'phone.png'), fullPage: true });
    assert.deepEqual(phone.faults, []);
    for (const [loseIt, complaint] of [
        [() => delete window.AudioWorkletNode, /no AudioWorklet/],
        [() => delete window.WebAssembly, /no WebAssembly,/],
        [() => (WebAssembly.validate = () => false), /no WebAssembly SIMD/],
    ]) {
        const old = await browser.newPage();
        await old.addInitScript(loseIt);
        await old.goto(url);
        assert.match(await old.textContent('#message.fault'), complaint);
        assert.ok(await old.isDisabled('#start'));
    }
});
