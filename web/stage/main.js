import { missing } from 'kalmarble';
import { Model } from './scene/model.js';
import { rate } from './scene/curve.js';
import { AudioStage } from './sound/audio.js';
import { builtIn, Library } from './sound/library.js';
import { comparePanel } from './view/compare.js';
import { byId, element, guarded, tell } from './view/controls.js';
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
const head = new HeadPanel(audio);
const files = new Files(model, library, audio, head, map);
new SourcePanel(model, audio, map);
new RoomPanel(model, audio);
new Meters(audio);
comparePanel(audio);
audio.addEventListener('error', ({ detail }) => tell(detail.message, true));

function prepareStart() {
    const start = byId('start');
    const lacking = missing();
    if (lacking) {
        start.disabled = true;
        tell(`${lacking} The stage needs it to sound; Chrome 95, Firefox 100 and Safari 16.4 have all of it.`, true);
        return;
    }
    start.addEventListener('click', () =>
        guarded(async () => {
            if (audio.isRunning) await audio.pause(!audio.isPaused);
            else {
                start.disabled = true;
                try {
                    await audio.start();
                } finally {
                    start.disabled = false;
                }
            }
            start.textContent = audio.isPaused ? 'Go on' : 'Pause';
        }),
    );
}

function prepareAdding() {
    const list = byId('add');
    list.append(
        element('option', { value: '', textContent: 'choose …' }),
        ...Object.keys(builtIn).map((name) => element('option', { value: name, textContent: name })),
        element('option', { value: 'file', textContent: 'a file of your own …' }),
    );
    list.addEventListener('change', () => {
        const name = list.value;
        list.value = '';
        if (name === 'file') byId('soundFile').click();
        else if (builtIn[name] && !model.add({ name, ...builtIn[name], loop: true, position: nextPlace() })) {
            tell('There are 64 sounds already.', true);
        }
    });
}

// Around the listener, each a golden angle from the one before and a little further away.
function nextPlace() {
    const number = model.scene.sounds.length;
    const angle = (number * 137.5 * Math.PI) / 180;
    const distance = 1 + 0.3 * Math.sqrt(number);
    return [distance * Math.sin(angle), 0, -distance * Math.cos(angle)].map((x) => Math.round(100 * x) / 100);
}

function prepareUndo() {
    byId('undo').addEventListener('click', () => model.undo());
    byId('redo').addEventListener('click', () => model.redo());
    addEventListener('keydown', (event) => {
        if (
            !(event.ctrlKey || event.metaKey) ||
            event.target.matches('input:not([type=range], [type=checkbox], [type=radio])')
        )
            return;
        const key = event.key.toLowerCase();
        if (key !== 'z' && key !== 'y') return;
        event.preventDefault();
        if (key === 'y' || event.shiftKey) model.redo();
        else model.undo();
    });
    const show = () => {
        byId('undo').disabled = !model.canUndo;
        byId('redo').disabled = !model.canRedo;
    };
    model.addEventListener('change', show);
    show();
}

function prepareTransport() {
    byId('restart').addEventListener('click', () => audio.player?.restart());
    byId('zoomIn').addEventListener('click', () => map.zoom(1.4));
    byId('zoomOut').addEventListener('click', () => map.zoom(1 / 1.4));
    setInterval(() => {
        byId('clock').value = audio.isRunning ? `${(audio.frame / rate).toFixed(1)} s` : '';
    }, 100);
}

for (const button of document.querySelectorAll('[data-side]')) {
    button.addEventListener('click', () => guarded(() => audio.ping(Number(button.dataset.side))));
}
prepareStart();
prepareAdding();
prepareUndo();
prepareTransport();
const showWelcome = guidedScenes((scene) => files.show(scene));
if (!(await files.openAddress())) await guarded(showWelcome);
