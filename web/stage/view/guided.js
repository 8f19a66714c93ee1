import { byId, element, guarded, tell } from './controls.js';

/** @import { Model } from '../scene/model.js' */
/** @import { Scene } from '../scene/types.js' */

const scenes = {
    welcome: 'A quiet room',
    orbit: 'Orbit',
    flyover: 'Fly-over',
    bees: 'A hundred bees',
    hall: 'Footsteps in a hall',
};

/** @param {string} name @returns {Promise<Scene>} */
async function load(name) {
    const response = await fetch(`scenes/${name}.json`);
    if (!response.ok) throw new Error(`The scene cannot be fetched: ${response.status} ${response.statusText}`);
    return response.json();
}

/**
 * Scenes that show what there is to hear.
 * @param {Model} model @param {(scene: Scene) => void} show
 * @returns {() => Promise<void>} shows the first one
 */
export function guidedScenes(model, show) {
    /** @type {Map<HTMLButtonElement, string | undefined>} their titles, once they were opened */
    const titles = new Map();
    const open = async (/** @type {string} */ name, /** @type {HTMLButtonElement} */ button) => {
        const scene = await load(name);
        titles.set(button, scene.title);
        show(scene);
        return scene;
    };
    const buttons = Object.entries(scenes).map(([name, label]) => {
        const button = element('button', { type: 'button', textContent: label });
        button.addEventListener('click', () => guarded(async () => tell(`${(await open(name, button)).title}.`)));
        return button;
    });
    byId('scenes').append(...buttons);
    model.addEventListener('change', () => {
        const { title } = model.scene;
        for (const button of buttons) button.ariaPressed = String(title !== undefined && titles.get(button) === title);
    });
    return async () => {
        await open('welcome', buttons[0]);
    };
}
