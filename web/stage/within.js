/**
 * What a promise comes to, or an Error with the sentence where that takes longer.
 * @template T @param {number} seconds @param {Promise<T>} promise @param {string} sentence @returns {Promise<T>}
 */
export function within(seconds, promise, sentence) {
    let timer = 0;
    const end = new Promise((_, reject) => {
        timer = setTimeout(() => reject(new Error(sentence)), 1000 * seconds);
    });
    return Promise.race([promise, end]).finally(() => clearTimeout(timer));
}
