/**
 * The bytes of a file that somebody gave.
 * @param {Blob} file @param {string} name @throws Error with a sentence for a folder, and for what is too large
 */
export async function bytesOf(file, name, most = Infinity) {
    if (file.size > most) {
        const [size, limit] = [file.size, most].map((bytes) => (bytes / 1e6).toFixed(0));
        throw new Error(`${name} has ${size} MB, which is too large: ${limit} MB are taken at most.`);
    }
    try {
        return await file.arrayBuffer();
    } catch {
        throw new Error(`${name} cannot be read. If it is a folder, drop the files in it.`);
    }
}
