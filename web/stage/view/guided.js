import { byId, element, guarded, tell } from './controls.js';

const scenes = {
    welcome: 'A quiet room',
    orbit: 'Orbit',
    flyover: 'Fly-over',
    bees: 'A hundred bees',
    hall: 'Footsteps in a hall',
};

const load = async (name) => (await fetch(`scenes/${name}.json`)).json();

/** Scenes that show what there is to hear. @param {(scene) => void} show */
export function guidedScenes(show) {
    byId('scenes').append(
        ...Object.entries(scenes).map(([name, label]) => {
            const button = element('button', { type: 'button', textContent: label });
            button.addEventListener('click', () =>
                guarded(async () => {
                    const scene = await load(name);
                    show(scene);
                    tell(`${scene.title}.`);
                }),
            );
            return button;
        }),
    );
    return async () => show(await load('welcome'));
}
