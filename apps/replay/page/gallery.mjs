// Writes one page of the scenes of several: node gallery.mjs OUT.html A.html B.html ...
import { readFileSync, writeFileSync } from "node:fs";

const SCENE = /<script type="application\/json" class="zq-scene">[^<]*<\/script>\n?/g;

const [out, ...pages] = process.argv.slice(2);
if (!out || pages.length === 0) {
   console.error("usage: node gallery.mjs OUT.html REPLAY.html...");
   process.exit(2);
}
const texts = pages.map(page => readFileSync(page, "utf8"));
const scenes = texts.map((text, i) => {
   const found = text.match(SCENE);
   if (!found) {
      console.error(`${pages[i]}: no replay is in this file`);
      process.exit(3);
   }
   return found.map(scene => scene.trimEnd()).join("\n");
});
// The first page lends its script and style: they are the same in all.
const [first] = texts;
const place = first.search(SCENE);
writeFileSync(out, `${first.slice(0, place)}${scenes.join("\n")}\n${first.slice(place).replace(SCENE, "")}`);
