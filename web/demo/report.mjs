// SPDX-FileCopyrightText: 2026 The desk-terminal-service authors
// SPDX-License-Identifier: MIT

const longestValue = 80;

function escaped(text) {
    return text.replace(/[&<>"]/g, (sign) => `&#${sign.charCodeAt(0)};`);
}

/** Shortens the Base64 text of pictures in a frame. */
function shortened(frame) {
    return frame.replace(/"[^"]{81,}"/g, (value) => `${value.slice(0, longestValue)}…" (${value.length - 2} characters)`);
}

/** Writes the report of a session, an HTML page in the folder of its pictures. */
export function reportPage(results, frames) {
    const sections = results.map(({ title, succeeded, summary, files }) => `<h2>${succeeded ? "✓" : "✗"} ${escaped(title)}</h2>
<p>${escaped(summary)}</p>
${files.map((file) => `<figure><img src="${file}" alt="${file}"><figcaption>${file}</figcaption></figure>`).join("\n")}`);
    return `<!DOCTYPE html>
<html lang="en">
<meta charset="utf-8">
<meta name="viewport" content="width=device-width">
<title>A session at the virtual terminal</title>
<style>
:root { color-scheme: light dark; font: 16px/1.5 sans-serif; }
body { max-width: 70rem; margin: 2rem auto; padding: 0 1rem; }
img { max-width: 100%; max-height: 24rem; border: 1px solid #888; background: #fff; }
figure { display: inline-block; margin: .5rem 1rem .5rem 0; }
pre { overflow-x: auto; }
</style>
<h1>A session at the virtual terminal</h1>
${sections.join("\n")}
<h2>Frames</h2>
<p>Seconds, direction, text; long values cut. <a href="frames.log">The whole log</a></p>
<pre>${escaped(frames.map(shortened).join("\n"))}</pre>
`;
}
