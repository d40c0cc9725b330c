// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

// Handwriting as pen samples.

const side = 100; // of the square in which a character is described
const sampleDistance = 5; // pixels
const [lightest, hardest] = [300, 900]; // pressure

// Strokes in writing order, each a line through its points.
const characters = {
    一: [[[10, 52], [90, 47]]],
    二: [[[22, 28], [78, 25]], [[8, 78], [92, 75]]],
    三: [[[18, 18], [82, 15]], [[24, 50], [76, 47]], [[8, 85], [92, 82]]],
    十: [[[8, 45], [92, 42]], [[50, 5], [50, 95]]],
    人: [[[50, 8], [46, 45], [10, 92]], [[48, 40], [62, 66], [92, 92]]],
    大: [[[10, 38], [90, 35]], [[50, 6], [46, 45], [10, 92]], [[48, 40], [62, 66], [92, 92]]],
    小: [[[50, 5], [50, 92], [38, 84]], [[28, 38], [12, 68]], [[70, 36], [90, 66]]],
    山: [[[50, 8], [50, 86]], [[14, 40], [14, 88], [86, 86]], [[86, 38], [86, 90]]],
    口: [[[18, 22], [22, 85]], [[18, 22], [82, 19], [78, 82]], [[22, 82], [78, 80]]],
    日: [[[24, 10], [24, 92]], [[24, 10], [76, 8], [76, 92]], [[24, 50], [76, 48]], [[24, 90], [76, 88]]],
    中: [[[14, 28], [18, 66]], [[14, 28], [86, 25], [82, 64]], [[18, 64], [82, 62]], [[50, 2], [50, 98]]],
    田: [[[16, 14], [16, 90]], [[16, 14], [84, 12], [84, 90]], [[50, 14], [50, 88]], [[16, 50], [84, 48]], [[16, 88], [84, 86]]],
    王: [[[15, 12], [85, 8]], [[20, 50], [80, 46]], [[50, 10], [50, 88]], [[8, 90], [92, 88]]],
};

// One line that is the same for the same character and another for the next.
function scribble(character) {
    let seed = character.codePointAt(0);
    const random = () => (seed = (seed * 16807 + 12345) % 2147483647) / 2147483647;
    return [Array.from({ length: 12 }, (_, at) => [5 + at * 8, 10 + 40 * (at % 2) + 40 * random()])];
}

function samplesOf(stroke) {
    const samples = [];
    for (let at = 1; at < stroke.length; ++at) {
        const [[fromX, fromY], [toX, toY]] = [stroke[at - 1], stroke[at]];
        const steps = Math.max(2, Math.ceil(Math.hypot(toX - fromX, toY - fromY) / sampleDistance));
        for (let step = 0; step <= steps; ++step)
            samples.push([fromX + (toX - fromX) * step / steps, fromY + (toY - fromY) * step / steps]);
    }
    const pressed = samples.map(([x, y], at) =>
        [x, y, Math.round(lightest + (hardest - lightest) * Math.sin(Math.PI * (0.15 + 0.75 * at / samples.length)))]);
    return [...pressed, [...samples.at(-1), 0]];
}

/**
 * The pen samples [x, y, pressure] that write a text into an area, from left to right. A character whose strokes are not
 * known becomes a scribble of its own.
 */
export function handwriting(text, { x, y, width, height }) {
    const written = [...text].filter((character) => character.trim());
    const cell = Math.min(height, width / written.length) * 0.9;
    const left = x + (width - cell * written.length) / 2;
    const top = y + (height - cell) / 2;
    return written.flatMap((character, position) => (characters[character] ?? scribble(character)).flatMap((stroke) =>
        samplesOf(stroke.map(([across, down]) =>
            [left + cell * (position + 0.05 + 0.9 * across / side), top + cell * (0.05 + 0.9 * down / side)]))));
}
