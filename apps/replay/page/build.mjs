// Bundles the page into one file: node build.mjs [OUT.html]. It needs nothing else to be shown; the
// marker <!--scenes--> is where scenes go.
import { createHash } from "node:crypto";
import { mkdirSync, readFileSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";

const here = dirname(fileURLToPath(import.meta.url));
const modules = process.env.ZQ_REPLAY_MODULES ?? join(here, "node_modules");
const require = createRequire(join(modules, "of-the-page.js"));
const esbuild = require("esbuild");
const read = (...names) => readFileSync(join(...names), "utf8");

const common = { bundle: true, minify: true, write: false, charset: "utf8",
                 target: ["chrome111", "firefox114", "safari16.4"], logLevel: "warning" };
const script = esbuild.buildSync({
   ...common, entryPoints: [join(here, "src/main.js")], format: "iife", nodePaths: [modules], legalComments: "none",
}).outputFiles[0].text.trim();
const style = esbuild.buildSync({ ...common, entryPoints: [join(here, "src/style.css")] })
   .outputFiles[0].text.trim();

if (/<!--|<\/?script/i.test(script) || /<\//.test(style))
   throw new Error("the bundle holds text that would end its element");

const notice = read(here, "NOTICE").trim();
const words = text => text.replace(/\s+/g, " ").trim();
if (!words(notice).includes(words(read(modules, "three/LICENSE"))))
   throw new Error("NOTICE does not hold the licence of three.js");
if (notice.includes("--"))
   throw new Error("NOTICE would end the comment that it stands in");

// The page needs no network, and proves it by allowing none: only this script and this style.
const hash = text => `'sha256-${createHash("sha256").update(text).digest("base64")}'`;
const policy = `default-src 'none'; script-src ${hash(script)}; style-src ${hash(style)}; img-src data:; ` +
   "base-uri 'none'; form-action 'none'";

const parts = {
   "<!--notice-->": `<!--\n${notice}\n-->`,
   "<!--policy-->": `<meta http-equiv="Content-Security-Policy" content="${policy}">`,
   "<!--style-->": `<style>${style}</style>`,
   "<!--script-->": `<script>${script}</script>`,
};
let page = read(here, "src/page.html").replace(/\n\s+/g, "\n");
for (const [marker, text] of Object.entries(parts))
   page = page.replace(marker, () => text);
if (page.split("<!--scenes-->").length !== 2)
   throw new Error("the page needs the marker of scenes once");

const out = process.argv[2] ?? "replay.html";
mkdirSync(dirname(out), { recursive: true });
writeFileSync(out, page);
console.log(`${out}: ${Math.round(page.length / 1000)} kB`);
