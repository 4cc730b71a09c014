// Writes one page of the scenes of several, each with a line about it:
// node gallery.mjs OUT.html HEADING A.html "about A" B.html "about B" ...
import { readFileSync, writeFileSync } from "node:fs";

const SCENE = /<script type="application\/json" class="zq-scene"[^>]*>[^<]*<\/script>\n?/g;
const OPENING = 'class="zq-scene"';
const MAIN = '<main id="scenes"';

const [out, heading, ...rest] = process.argv.slice(2);
if (!out || rest.length === 0 || rest.length % 2 !== 0) {
   console.error("usage: node gallery.mjs OUT.html HEADING [REPLAY.html ABOUT]...");
   process.exit(2);
}
const quoted = text => `"${text.replace(/[&"<>]/g, c => `&#${c.charCodeAt(0)};`)}"`;

const parts = Array.from({ length: rest.length / 2 }, (_, i) => ({ page: rest[2 * i], about: rest[2 * i + 1] }));
const texts = parts.map(({ page }) => readFileSync(page, "utf8"));
const scenes = texts.map((text, i) => {
   const { page, about } = parts[i];
   const found = text.match(SCENE);
   if (!found) {
      console.error(`${page}: no replay is in this file`);
      process.exit(3);
   }
   return found.map(scene => scene.trimEnd().replace(OPENING, () => `${OPENING} data-about=${quoted(about)}`)).join("\n");
});
// The first page lends its script and style: they are the same in all.
const [first] = texts;
const place = first.search(SCENE);
writeFileSync(out, `${first.slice(0, place)}${scenes.join("\n")}\n${first.slice(place).replace(SCENE, "")}`
   .replace(MAIN, () => `${MAIN} data-heading=${quoted(heading)}`));
