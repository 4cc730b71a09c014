// Shows the scenes of the page: one over the whole window, several as a gallery.
import { Clock } from "./clock.js";
import { Painter } from "./painter.js";
import { make } from "./panel.js";
import { Viewer } from "./viewer.js";

function scenesOfPage() {
   return [...document.querySelectorAll("script.zq-scene")].map((element, index) => {
      try {
         return { about: element.dataset.about, ...JSON.parse(element.textContent) };
      } catch (error) {
         return { title: `Scene ${index + 1}`, format: `that cannot be read (${error.message})` };
      }
   });
}

function showOne(scene, main, tools) {
   main.className = "single";
   document.title = scene.title || document.title;
   return [new Viewer(scene, main, { ...tools, isTile: false })];
}

function showGallery(scenes, main, tools) {
   main.className = "gallery";
   const heading = main.dataset.heading ?? `${scenes.length} scenes`;
   document.title = heading;
   const top = make("div", "top");
   const all = make("button", "text");
   all.type = "button";
   top.append(make("h1", "", heading), all);
   const tiles = make("div", "tiles");
   main.append(top, tiles);

   const viewers = scenes.map(scene => {
      const cell = make("div", "cell");
      tiles.append(cell);
      return new Viewer(scene, cell, { ...tools, isTile: true });
   });
   const shown = viewers.filter(viewer => !viewer.error);
   const observer = new IntersectionObserver(entries => {
      for (const { target, isIntersecting } of entries)
         shown.find(viewer => viewer.root.parentElement === target).comeIntoView(isIntersecting);
   }, { rootMargin: "100px" });
   for (const viewer of shown) {
      observer.observe(viewer.root.parentElement);
      viewer.onEnlarge = isLarge => {
         top.inert = isLarge;
         for (const other of viewers) {
            other.isCovered = isLarge && other !== viewer;
            other.root.inert = other.isCovered;
         }
         tools.clock.wake();
      };
   }
   const playsAny = () => shown.some(viewer => viewer.isPlaying);
   const tellWhatNext = () => (all.textContent = playsAny() ? "Pause all" : "Play all");
   all.addEventListener("click", () => {
      const plays = playsAny();
      shown.forEach(viewer => (plays ? viewer.pause() : viewer.play()));
      tellWhatNext();
   });
   main.addEventListener("click", tellWhatNext);
   tellWhatNext();
   return viewers;
}

function show() {
   const main = document.getElementById("scenes");
   const scenes = scenesOfPage();
   if (scenes.length === 0) {
      main.append(make("p", "message", "This page holds no scene."));
      return [];
   }
   const tools = { painter: Painter.make(), clock: new Clock() };
   return (scenes.length === 1 ? showOne(scenes[0], main, tools) : showGallery(scenes, main, tools));
}

const scenes = show();
// What tests and programs may use; `ready` comes after the first pictures.
window.zqReplay = {
   scenes,
   ready: new Promise(resolve => {
      // Whether a tile is in view is told only after a while.
      const isWaiting = viewer => !viewer.error && viewer.pictures === 0 &&
         (viewer.isVisible || viewer.isInView === undefined);
      const look = () => (scenes.some(isWaiting)
         ? requestAnimationFrame(look) : resolve());
      requestAnimationFrame(look);
   }),
};
