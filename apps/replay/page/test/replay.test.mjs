// The page in a headless browser, opened from disk without a network. ZQ_REPLAY_TEMPLATE is the page
// without scenes, ZQSIM the program that fills it, ZQ_REPLAY_MODULES where the modules are.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { accessSync, constants, existsSync, mkdtempSync, readdirSync, readFileSync, rmSync, statSync,
         writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { tmpdir } from "node:os";
import { delimiter, join } from "node:path";
import { after, before, test } from "node:test";
import { fileURLToPath, pathToFileURL } from "node:url";
import { arm, crowd, ground, kinds, pageOf, sceneOf, turned } from "./scenes.mjs";

const here = fileURLToPath(new URL(".", import.meta.url));
const models = join(here, "../../../../examples/models");
const gallery = join(here, "../gallery.mjs");
const template = process.env.ZQ_REPLAY_TEMPLATE ?? "replay.html";
const modules = process.env.ZQ_REPLAY_MODULES ?? join(here, "../node_modules");

const found = (process.env.PATH ?? "").split(delimiter)
   .flatMap(directory => ["chromium", "chromium-browser", "google-chrome"].map(name => join(directory, name)))
   .find(path => {
      try {
         accessSync(path, constants.X_OK);
         return true;
      } catch {
         return false;
      }
   });
if (!found) {
   console.log("No browser is found: the page is not tested");
   process.exit(0);
}

let browser;
let directory;
before(async () => {
   const { chromium } = createRequire(join(modules, "of-the-test.js"))("playwright-core");
   browser = await chromium.launch({
      executablePath: found,
      chromiumSandbox: process.getuid?.() !== 0, // root has none
      args: ["--use-gl=angle", "--use-angle=swiftshader", "--enable-unsafe-swiftshader"],
   });
   directory = mkdtempSync(join(tmpdir(), "zq-replay-"));
});
after(async () => {
   await browser?.close();
   if (directory)
      rmSync(directory, { recursive: true });
});

/**
 * Opens a file, or a page of scenes, paused; hands it to `look`. Whatever the page says on the console,
 * asks of a network or throws is a failure.
 */
async function show(what, look, { width = 640, height = 480, withoutGraphics = false, expects } = {}) {
   const file = typeof what === "string" ? what : join(directory, "page.html");
   if (typeof what !== "string")
      writeFileSync(file, pageOf(template, ...what));
   const context = await browser.newContext({ viewport: { width, height }, offline: true, reducedMotion: "reduce" });
   const page = await context.newPage();
   page.setDefaultTimeout(120000);
   const complaints = [];
   page.on("console", message => {
      if (!expects?.test(message.text()))
         complaints.push(`${message.type()}: ${message.text()}`);
   });
   page.on("pageerror", error => complaints.push(String(error)));
   page.on("request", request => {
      if (!/^(file|data):/.test(request.url()))
         complaints.push(`asks for ${request.url()}`);
   });
   page.on("dialog", dialog => complaints.push(`opens a dialog: ${dialog.message()}`));
   if (withoutGraphics)
      await page.addInitScript(() => (HTMLCanvasElement.prototype.getContext = () => null));
   await page.goto(pathToFileURL(file).href);
   await page.evaluate(() => window.zqReplay.ready);
   await look(page);
   assert.deepEqual(complaints, []);
   await context.close();
}

// How many colours a picture of the scene has.
async function coloursOf(page) {
   const picture = await page.locator(".picture canvas").first().screenshot();
   return page.evaluate(async bytes => {
      const image = await createImageBitmap(new Blob([Uint8Array.from(bytes)], { type: "image/png" }));
      const canvas = new OffscreenCanvas(image.width, image.height);
      const drawing = canvas.getContext("2d");
      drawing.drawImage(image, 0, 0);
      const { data } = drawing.getImageData(0, 0, image.width, image.height);
      const colours = new Set();
      for (let i = 0; i < data.length; i += 4)
         colours.add((data[i] << 16) | (data[i + 1] << 8) | data[i + 2]);
      return colours.size;
   }, [...picture]);
}

// The greatest difference of two poses; a quaternion and its negative are the same attitude.
function difference(pose, other) {
   const sign = pose.slice(3).reduce((sum, x, i) => sum + x * other[3 + i], 0) < 0 ? -1 : 1;
   return Math.max(...pose.map((x, i) => Math.abs(x - (i < 3 ? 1 : sign) * other[i])));
}

const names = readdirSync(models).filter(name => name.endsWith(".xml")).map(name => name.replace(".xml", ""));

// Runs a model with its inputs, and tells where its replay is.
function run(model, ...options) {
   const [inputs, replay] = [join(models, `${model}.csv`), join(directory, "replay.html")];
   execFileSync(process.env.ZQSIM, ["run", join(models, `${model}.xml`), ...options, "--replay", replay,
                                    ...(existsSync(inputs) ? ["--inputs", inputs] : [])],
                { stdio: ["ignore", "ignore", "ignore"] });
   return replay;
}

test("links stand where the library says", async () => {
   assert.ok(names.length > 10);
   for (const model of names) {
      const table = join(directory, "poses.csv");
      const replay = run(model, "--time", "0.3", "--dt", "0.0001", "--columns", "poses", "--out", table);
      const rows = readFileSync(table, "utf8").trim().split("\n").slice(1).map(line => line.split(",").map(Number));
      await show(replay, async page => {
         const frames = await page.evaluate(() => window.zqReplay.scenes[0].frameTimes());
         assert.ok(frames.length > 10, `${model} has ${frames.length} frames`);
         const times = Array.from({ length: 10 }, (_, i) => frames[Math.round((i * (frames.length - 1)) / 9)]);
         const seen = await page.evaluate(chosen => {
            const [scene] = window.zqReplay.scenes;
            return chosen.map(time => {
               scene.seek(time);
               return scene.bodyNames().map((_, body) => scene.bodyPose(body));
            });
         }, times);
         times.forEach((time, i) => {
            const row = rows.find(([at]) => Math.abs(at - time) < 1e-9);
            assert.ok(row, `${model} has no row at ${time} s`);
            assert.equal(row.length, 1 + 7 * seen[i].length);
            seen[i].forEach((pose, body) => {
               const away = difference(pose, row.slice(1 + 7 * body, 8 + 7 * body));
               assert.ok(away < 1e-6, `${model}: body ${body} is ${away} off at ${time} s`);
            });
         });
      });
   }
});

test("a page is small enough to send", () => {
   const size = statSync(run("grasp", "--time", "8", "--interpolation", "linear")).size;
   assert.ok(size < 3e6, `the page of grasp has ${size} bytes`);
});

test("grounds are drawn where they are", async () => {
   const half = (point, normal, more) => ({ name: "ground", ...more,
      shapes: [{ kind: "halfSpace", name: "ground", material: "", point, normal }] });
   const carried = turned(0.3, [1, 0, 0]);
   const scene = sceneOf({
      times: [0, 1],
      bodies: [half([0, 0, 0.7], [0, 0, 1]), half([0, 0, 0], [0.6, 0, 0.8]),
               half([0, 0, 0.1], [0, 0, 1], { move: t => [t, 2, 3, ...carried] })],
   });
   await show([scene], async page => {
      const planes = await page.evaluate(async () => {
         const [viewer] = window.zqReplay.scenes;
         const before = viewer.pictures;
         viewer.seek(1);
         while (viewer.pictures === before)
            await new Promise(requestAnimationFrame);
         return viewer.groundPlanes();
      });
      const [s, c] = [Math.sin(0.3), Math.cos(0.3)];
      const expected = [[0, 0, 0.7, 0, 0, 1], [0, 0, 0, 0.6, 0, 0.8], [1, 2 - 0.1 * s, 3 + 0.1 * c, 0, -s, c]];
      planes.forEach(({ point, normal }, i) => [...point, ...normal].forEach((x, k) =>
         assert.ok(Math.abs(x - expected[i][k]) < 1e-12, `ground ${i}: ${[...point, ...normal]}`)));
   });
});

test("what moves fills the free part of the picture, again and again", async () => {
   await show([arm({ standing: false })], async page => {
      const sides = await page.evaluate(() => {
         const [{ stage, size }] = window.zqReplay.scenes;
         const seen = stage.extent.moving.map(point => point.clone().project(stage.camera));
         const [x, y] = ["x", "y"].map(k => seen.map(point => point[k]));
         const free = { width: size.width - size.right, height: size.height - size.top - size.bottom };
         const [left, right] = [Math.min(...x), Math.max(...x)].map(at => ((at + 1) / 2) * size.width);
         const [top, bottom] = [Math.max(...y), Math.min(...y)].map(at => ((1 - at) / 2) * size.height - size.top);
         return { ...free, left, right, top, bottom };
      });
      const filled = Math.max((sides.right - sides.left) / sides.width, (sides.bottom - sides.top) / sides.height);
      assert.ok(filled > 0.5 && filled < 1, JSON.stringify(sides));
      assert.ok(Math.min(sides.left, sides.top) > 0 && sides.right < sides.width && sides.bottom < sides.height,
                JSON.stringify(sides));

      // A drag that still coasts does not keep the camera from coming home.
      const eye = () => page.evaluate(() => window.zqReplay.scenes[0].stage.camera.position.toArray());
      const home = await eye();
      await page.mouse.move(200, 200);
      await page.mouse.down();
      await page.mouse.move(300, 240, { steps: 4 });
      await page.mouse.up();
      await page.keyboard.press("3");
      await page.keyboard.press("+");
      await page.mouse.move(201, 200);
      const away = await eye();
      await page.keyboard.press("r");
      const back = await page.evaluate(async () => {
         const [viewer] = window.zqReplay.scenes;
         for (let i = 0; i < 100; ++i)
            viewer.advance(0.02);
         return viewer.stage.camera.position.toArray();
      });
      assert.ok(Math.hypot(...home.map((x, k) => x - away[k])) > 0.1);
      assert.ok(Math.hypot(...home.map((x, k) => x - back[k])) < 1e-6, `${home} and ${back}`);
   });
});

test("fewer pixels and lost graphics come back", async () => {
   await show([kinds()], async page => {
      const [coarse, fine] = await page.evaluate(() => {
         const [viewer] = window.zqReplay.scenes;
         const advance = (count, elapsed) => {
            viewer.play();
            for (let i = 0; i < count; ++i)
               viewer.advance(elapsed);
            viewer.pause();
            return viewer.detail;
         };
         return [advance(9, 0.1), advance(1000, 1 / 60)];
      });
      assert.ok(coarse < 0.5 && fine === 1, `${coarse}, ${fine}`);
      const colours = await coloursOf(page);
      await page.evaluate(async () => {
         const [viewer] = window.zqReplay.scenes;
         const { renderer } = viewer.painter;
         const lost = renderer.getContext().getExtension("WEBGL_lose_context");
         const told = what => new Promise(resolve => renderer.domElement.addEventListener(what, resolve, { once: true }));
         const [gone, back] = [told("webglcontextlost"), told("webglcontextrestored")];
         lost.loseContext();
         await gone;
         await new Promise(requestAnimationFrame);
         lost.restoreContext();
         await back;
         for (let i = 0; i < 3; ++i)
            await new Promise(requestAnimationFrame);
      });
      assert.ok(await coloursOf(page) > 0.9 * colours);
   }, { expects: /CONTEXT_LOST|Context (Lost|Restored)|context/i });
});

test("between frames a body goes straight and turns the short way", async () => {
   const [from, to] = [turned(3, [0, 0, 1]), turned(3.4, [0, 0, 1]).map(x => -x)];
   const scene = sceneOf({
      times: [1, 2],
      bodies: [{ move: t => (t === 1 ? [0, 0, 0, ...from] : [2, 4, -6, ...to]) }],
   });
   await show([scene], async page => {
      const pose = await page.evaluate(() => {
         window.zqReplay.scenes[0].seek(1.25);
         return window.zqReplay.scenes[0].bodyPose(0);
      });
      assert.ok(difference(pose, [0.5, 1, -1.5, ...turned(3.1, [0, 0, 1])]) < 1e-12, `${pose}`);
   });
});

test("a picture shows bodies and arrows of contact", async () => {
   let full;
   await show([kinds()], async page => {
      full = await coloursOf(page);
      const arrows = await page.evaluate(() => {
         const [scene] = window.zqReplay.scenes;
         return [0, 0.3, 1.4].map(time => (scene.seek(time), scene.contactArrows()));
      });
      assert.deepEqual(arrows, [1, 0, 1]);
      // Between frames a contact stays where it is on its body.
      const [offset, next] = await page.evaluate(() => [0, 0.008].map(time => {
         const [scene] = window.zqReplay.scenes;
         scene.seek(time);
         const body = scene.recording.contacts[7];
         const local = scene.stage.matrices[body].clone().invert()
            .multiply(scene.stage.forces.arrows.batches[0].matrixAt(0));
         return local.elements.slice(12, 15);
      }));
      assert.ok(offset.every((x, k) => Math.abs(x - next[k]) < 1e-6), `${offset} and ${next}`);
      await page.locator("canvas").press("c");
      assert.equal(await page.evaluate(() => window.zqReplay.scenes[0].contactArrows()), 0);
   });
   await show([kinds({ withBodies: false })], async page => {
      const empty = await coloursOf(page);
      assert.ok(full > 1000 && full > 2 * empty, `${full} colours with bodies, ${empty} without`);
   });
});

test("names are text, and run nothing", async () => {
   const names = ['"quoted" \'name\'', "</script><script>alert(1)</script>", "<img src=x onerror=alert(2)>", "左手/пальц/إصبع",
                  "&lt;b&gt;", "<!--scenes-->\u2028\u202e"];
   const scene = kinds({ title: "<script>alert(3)</script>", names });
   scene.joints = names.map((name, i) => ({ body: i + 1, name, unit: "rad", lower: -1, upper: 1 }));
   scene.values = Buffer.from(new Float32Array(201 * names.length).buffer).toString("base64");
   scene.energies = { names: names.slice(0, 3), rows: Buffer.from(new Float32Array(201 * 3).buffer).toString("base64") };
   await show([scene], async page => {
      assert.deepEqual(await page.evaluate(() => window.zqReplay.scenes[0].bodyNames()), ["world/ground", ...names]);
      await page.locator("canvas").press("n");
      assert.equal(await page.locator(".title").textContent(), scene.title);
      assert.deepEqual(await page.locator(".labels span").allTextContents(), ["world/ground", ...names]);
      assert.deepEqual(await page.locator(".joint .name").allTextContents(), names);
      assert.deepEqual(await page.locator(".legend .name").allTextContents(), names.slice(0, 3));
      assert.equal(await page.locator("script:not(.zq-scene)").count(), 1);
      assert.equal(await page.locator("img").count(), 0);
   });
});

test("controls and keys move time", async () => {
   await show([arm()], async page => {
      const time = () => page.evaluate(() => window.zqReplay.scenes[0].time);
      const canvas = page.locator("canvas");
      await canvas.press("ArrowRight");
      assert.ok(Math.abs(await time() - 0.02) < 1e-12);
      await canvas.press("Shift+ArrowRight");
      assert.ok(Math.abs(await time() - 0.22) < 1e-12);
      await canvas.press("End");
      assert.equal(await time(), 8);
      await page.getByRole("button", { name: "Play" }).click();
      await page.waitForFunction(() => window.zqReplay.scenes[0].time > 0.03 && window.zqReplay.scenes[0].time < 7.9);
      await page.getByRole("button", { name: "Pause" }).click();
      const held = await time();
      await page.evaluate(() => new Promise(resolve => requestAnimationFrame(() => requestAnimationFrame(resolve))));
      assert.equal(await time(), held);
   });
});

test("what is little or broken is shown or told", async () => {
   const shown = {
      "nothing": sceneOf({}),
      "one frame": sceneOf({ times: [0], bodies: [ground(""), { move: () => [0, 0, 1, 1, 0, 0, 0] }] }),
      "no frame": sceneOf({ bodies: [ground("ice"), { move: () => [] }] }),
      "numbers that are none": sceneOf({ times: [0, 1, 2], bodies: [{ move: t => [t === 1 ? NaN : 0, 0, 0, 1, 0, 0, 0] }],
                                         contacts: () => [[0, 0, NaN, 0, 0, 1, 0, 0]] }),
      "no shapes": arm({ hasShapes: false, standing: false }),
   };
   const told = {
      "another format": { ...arm(), format: 2 },
      "cut off": { ...arm(), poses: "AAAA" },
      "no mesh": sceneOf({ bodies: [{ shapes: [{ kind: "mesh", positions: "", indices: "AAAAAAAAAAAAAAAA" }] }] }),
   };
   const count = Object.keys(shown).length;
   await show([...Object.values(shown), ...Object.values(told)], async page => {
      const drawn = await page.evaluate(shownCount => window.zqReplay.scenes.slice(0, shownCount).map(viewer => {
         viewer.seek(1);
         const poses = viewer.bodyNames().map((_, body) => viewer.bodyPose(body));
         return viewer.pictures > 0 && poses.flat().every(Number.isFinite) && viewer.contactArrows() === 0;
      }), count);
      assert.deepEqual(drawn, Object.keys(shown).map(() => true));
      assert.equal(await page.locator(".tile .message").count(), Object.keys(told).length);
   }, { width: 1280, height: 1200 });
   await show([sceneOf({})], async page => assert.ok(await page.locator("canvas").isVisible()));
   await show([], async page => assert.ok(await page.locator(".message").isVisible()));
   await show([arm()], async page => assert.match(await page.locator(".message").textContent(), /WebGL/),
              { withoutGraphics: true });
});

test("a gallery shows those in view, and one large", async () => {
   const files = [kinds(), arm(), ...Array.from({ length: 20 }, (_, i) => kinds({ title: `No. ${i}` }))].map((scene, i) => {
      const file = join(directory, `part${i}.html`);
      writeFileSync(file, pageOf(template, scene));
      return file;
   });
   const all = join(directory, "gallery.html");
   execFileSync(process.execPath, [gallery, all, "All of <it>", ...files.flatMap((file, i) => [file, `"${i}" & more`])]);
   await show(all, async page => {
      assert.equal(await page.evaluate(() => window.zqReplay.scenes.length), 22);
      assert.equal(await page.locator("h1").textContent(), "All of <it>");
      assert.equal(await page.locator(".about").nth(3).textContent(), '"3" & more');
      assert.equal(await page.locator("canvas").first().evaluate(canvas => canvas.style.touchAction), "auto");
      const drawn = () => page.evaluate(() => window.zqReplay.scenes.map(scene => Boolean(scene.stage)));
      const before = await drawn();
      assert.deepEqual([before[0], before[21]], [true, false]);
      await page.locator(".cell").last().scrollIntoViewIfNeeded();
      await page.waitForFunction(() => window.zqReplay.scenes[21].pictures > 0 && !window.zqReplay.scenes[0].stage);
      await page.getByRole("button", { name: "Enlarge" }).last().click();
      const box = await page.locator(".viewer.large").boundingBox();
      assert.deepEqual([box.width, box.height], [640, 480]);
      await page.keyboard.press("Escape");
      assert.equal(await page.locator(".viewer.large").count(), 0);
   });
});

test("pictures per second are told", async t => {
   for (const [count, name] of [[100, "100 bodies"], [1000, "1000 bodies"]])
      await show([crowd(count)], async page => {
         const rate = await page.evaluate(async () => {
            const [scene] = window.zqReplay.scenes;
            scene.play();
            const from = [scene.pictures, performance.now()];
            await new Promise(resolve => setTimeout(resolve, 3000));
            return (1000 * (scene.pictures - from[0])) / (performance.now() - from[1]);
         });
         t.diagnostic(`${name}: ${rate.toFixed(1)} pictures per second`);
         assert.ok(rate > 0);
      }, { width: 1280, height: 800 });
});
