import { missing } from 'kalmarble';
import { Model } from './scene/model.js';
import { rate } from './scene/curve.js';
import { AudioStage } from './sound/audio.js';
import { builtIn, Library } from './sound/library.js';
import { comparePanel } from './view/compare.js';
import { buttonById, element, guarded, outputById, selectById, tell } from './view/controls.js';
import { Files } from './view/files.js';
import { guidedScenes } from './view/guided.js';
import { HeadPanel } from './view/head.js';
import { StageMap } from './view/map.js';
import { Meters } from './view/meters.js';
import { RoomPanel } from './view/room.js';
import { SourcePanel } from './view/source.js';

const model = new Model();
const library = new Library();
const audio = new AudioStage(model, library);
const map = new StageMap(model, audio);
const head = new HeadPanel(model, audio);
const files = new Files(model, library, audio, head, map);
new SourcePanel(model, audio, map);
new RoomPanel(model, audio);
new Meters(audio);
comparePanel(audio);
audio.addEventListener('error', (event) => tell(/** @type {CustomEvent<Error>} */ (event).detail.message, true));

function prepareStart() {
    const start = buttonById('start');
    const lacking = missing();
    if (lacking) {
        start.disabled = true;
        tell(`${lacking} The stage needs it to sound; Chrome 111, Firefox 113 and Safari 16.4 have all of it.`, true);
        return;
    }
    start.addEventListener('click', () =>
        guarded(async () => {
            start.disabled = true;
            try {
                await (audio.isRunning ? audio.pause(!audio.isPaused) : audio.start());
            } finally {
                start.disabled = false;
            }
        }),
    );
    audio.addEventListener('started', () => tell('Drag the sounds and the listener, and drop files of your own.'));
    for (const event of ['started', 'paused'])
        audio.addEventListener(event, () => {
            if (audio.isRunning) start.textContent = audio.isPaused ? 'Go on' : 'Pause';
        });
    audio.prepare().catch(() => {}); // Start tries again, and says what is wrong
}

function prepareAdding() {
    const list = selectById('add');
    list.append(
        element('option', { value: '', textContent: 'Add a sound …' }),
        ...Object.keys(builtIn).map((name) => element('option', { value: name, textContent: name })),
        element('option', { value: 'file', textContent: 'A file of your own …' }),
    );
    list.addEventListener('change', () => {
        const name = list.value;
        list.value = '';
        if (name === 'file') document.getElementById('soundFile')?.click();
        else if (builtIn[name]) guarded(() => tell(`Added ${name}: ${files.add({ name, ...builtIn[name] })}.`));
    });
}

function prepareUndo() {
    const [undo, redo] = [buttonById('undo'), buttonById('redo')];
    undo.addEventListener('click', () => model.undo());
    redo.addEventListener('click', () => model.redo());
    addEventListener('keydown', (event) => {
        const isWriting =
            event.target instanceof Element &&
            event.target.matches('input:not([type=range], [type=checkbox], [type=radio])');
        const key = event.key.toLowerCase();
        if (!(event.ctrlKey || event.metaKey) || isWriting || (key !== 'z' && key !== 'y')) return;
        event.preventDefault();
        if (key === 'y' || event.shiftKey) model.redo();
        else model.undo();
    });
    const show = () => {
        undo.disabled = !model.canUndo;
        redo.disabled = !model.canRedo;
    };
    model.addEventListener('change', show);
    show();
}

function prepareTransport() {
    buttonById('restart').addEventListener('click', () => audio.player?.restart());
    buttonById('zoomIn').addEventListener('click', () => map.zoom(1.4));
    buttonById('zoomOut').addEventListener('click', () => map.zoom(1 / 1.4));
    setInterval(() => {
        outputById('clock').value = audio.isRunning ? `${(audio.frame / rate).toFixed(1)} s` : '';
    }, 100);
}

for (const [id, side] of Object.entries({ left: -1, right: 1 }))
    buttonById(id).addEventListener('click', () => guarded(() => audio.ping(side)));
prepareAdding();
prepareUndo();
prepareTransport();
const showWelcome = guidedScenes(model, (scene) => files.show(scene));
if (!(await files.openAddress())) await guarded(showWelcome);
prepareStart();
