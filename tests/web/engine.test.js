// The package in a real browser against the native engine.

import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';

import { program } from './program.js';
import { distanceDb, launch, openPage, renderInPage, renderNatively, serve } from './support.js';

const LIMIT_DB = -100; // rounding of positions; any of the faults below is louder

let server, browser, page, expected;

before(async () => {
    server = await serve();
    browser = await launch();
    page = await openPage(browser, server);
    expected = renderNatively(program());
});

after(async () => {
    await browser?.close();
    server?.close();
    assert.deepEqual(page.faults, []);
});

/** The program with one thing wrong. */
function faulty(change) {
    const wrong = program();
    wrong.events = wrong.events.filter((event) => change(event) !== 'drop');
    return wrong;
}

test('an offline context sounds as the native engine does', async (t) => {
    const distance = distanceDb(expected, await renderInPage(page, program()));
    t.diagnostic(`${distance.toFixed(1)} dB`);
    assert.ok(distance < LIMIT_DB, `${distance} dB apart`);
});

const isMove = (event) => event.set?.position;
const FAULTS = {
    'a voice louder by 1e-4': (event) => event.add?.buffer === 1 && (event.add.gain *= 1.0001),
    'a lost event': (event) => event.set?.referenceDistance && 'drop',
    'moves a quantum late': (event) => isMove(event) && (event.at += 128),
    'a negated z': (event) => isMove(event) && (event.set.position[2] *= -1),
    'a lost change of room': (event) => event.at === 130000 && 'drop',
};
for (const [name, change] of Object.entries(FAULTS)) {
    test(`${name} is refused`, async (t) => {
        const distance = distanceDb(expected, await renderInPage(page, faulty(change)));
        t.diagnostic(`${distance.toFixed(1)} dB`);
        assert.ok(distance > LIMIT_DB, `only ${distance} dB apart`);
    });
}
