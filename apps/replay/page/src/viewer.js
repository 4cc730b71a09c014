// One scene with its controls: over the whole window, or a tile of many that can be enlarged.
import { roundLength } from "./floor.js";
import { wireKeys } from "./keys.js";
import { Names } from "./names.js";
import { lengthText, make, Panel } from "./panel.js";
import { Recording } from "./recording.js";
import { Stage } from "./stage.js";

const SPEEDS = [0.1, 0.2, 0.5, 1, 2, 5, 10];
const SLOW = 0.06; // s between two pictures, from which on a run is played with fewer pixels
const COARSEST = 0.35;
const PATIENCE = 60; // pictures in time, after which more pixels are tried; longer after each failure
const ARROW = 56; // pixels, of the longest arrow of the legend
const LEAST_SECONDS = 2.5; // a shorter run is shown slower

const isDark = matchMedia("(prefers-color-scheme: dark)");
const isCalm = matchMedia("(prefers-reduced-motion: reduce)");

export class Viewer {
   #shows = { contacts: true, frames: false, names: false, transparent: false, wireframe: false };
   #isDirty = true;
   #pictures = 0;

   /** Shows `data`, a parsed scene, in `place`. */
   constructor(data, place, { painter, clock, isTile }) {
      Object.assign(this, { painter, clock, isTile });
      this.isLarge = !isTile;
      this.isInView = isTile ? undefined : true;
      this.root = document.getElementById("viewer").content.cloneNode(true).firstElementChild;
      this.root.classList.toggle("tile", isTile);
      place.append(this.root);
      this.canvas = this.find("canvas");
      this.find(".title").textContent = String(data.title ?? "");
      this.find(".about").textContent = String(data.about ?? "");
      try {
         this.recording = new Recording(data);
      } catch (error) {
         this.#fail(error);
         return;
      }
      this.time = this.recording.begin;
      this.isPlaying = this.recording.frames > 1 && !isCalm.matches;
      this.loops = true;
      this.detail = 1;
      this.patience = PATIENCE;
      this.speed = SPEEDS.findLast(speed => speed <= 1 && this.duration / speed >= LEAST_SECONDS) ?? SPEEDS[0];
      if (!painter) {
         this.#fail(new Error("This browser has no WebGL 2, or it is switched off"));
         return;
      }
      if (!isTile)
         this.#takeCanvas();
      this.canvas.setAttribute("aria-label", `Scene ${this.recording.title}, ${this.recording.bodies.length} bodies`);
      this.names = new Names(this);
      painter.onRestored.push(() => this.changed());
      this.panel = new Panel(this.find(".panel"), this.recording, time => this.seek(time));
      this.#wire();
      new ResizeObserver(() => this.#resize()).observe(this.root);
      isDark.addEventListener("change", () => this.#dress());
      clock.add(this);
      if (!isTile)
         this.openPanel(innerWidth > 900);
      this.#showTime();
      clock.wake();
   }

   find(selector) {
      return this.root.querySelector(selector);
   }

   #fail(error) {
      this.error = error;
      this.find(".picture").replaceWith(make("p", "message", `This scene cannot be shown. ${error.message}.`));
      for (const part of this.root.querySelectorAll("footer, .corner, .scale, .panel"))
         part.hidden = true;
   }

   // A single scene is drawn right on the canvas of the page.
   #takeCanvas() {
      const own = this.painter.canvas;
      for (const { name, value } of this.canvas.attributes)
         own.setAttribute(name, value);
      this.canvas.replaceWith(own);
      this.canvas = own;
   }

   // ---- what programs may ask ----

   get duration() {
      return this.recording.end - this.recording.begin;
   }

   get pictures() {
      return this.#pictures;
   }

   play() {
      if (this.recording.frames < 2)
         return;
      if (this.time >= this.recording.end)
         this.seek(this.recording.begin);
      this.isPlaying = true;
      this.#showTime();
      this.clock.wake();
   }

   pause() {
      this.isPlaying = false;
      this.#showTime();
      this.changed();
   }

   seek(time) {
      if (!Number.isFinite(time))
         return;
      this.time = Math.min(Math.max(time, this.recording.begin), this.recording.end);
      this.stage?.show(this.time);
      this.#showTime();
      this.changed();
   }

   bodyNames() {
      return this.recording.bodies.map(body => body.name);
   }

   /** Where a body is drawn: x, y, z, w, x, y, z in the axes of the system. */
   bodyPose(index) {
      return this.needStage().poseOf(index);
   }

   contactArrows() {
      return this.needStage().forces.arrows.count;
   }

   /** The grounds as they are in the picture: a point and the normal, in the axes of the system. */
   groundPlanes() {
      return this.needStage().groundPlanes();
   }

   frameTimes() {
      return Array.from(this.recording.times);
   }

   // ---- the stage comes and goes with the view ----

   needStage() {
      if (this.stage)
         return this.stage;
      this.stage = new Stage(this.recording, this.canvas);
      this.stage.controls.addEventListener("change", () => this.changed());
      this.#enableControls();
      this.stage.show(this.time);
      this.#applyShown();
      this.#dress();
      this.#resize();
      this.stage.frameAll();
      this.#listFollowed();
      this.#showFacts();
      return this.stage;
   }

   // A tile leaves drags to the page, which scrolls.
   #enableControls() {
      this.stage.controls.enabled = this.isLarge;
      this.canvas.style.touchAction = this.isLarge ? "none" : "auto";
   }

   /** Tells whether the viewer can be seen; one that cannot keeps nothing of the graphics. */
   comeIntoView(isInView) {
      this.isInView = isInView;
      if (!isInView) {
         this.stage?.dispose();
         this.stage = undefined;
      }
      this.changed();
   }

   changed() {
      this.#isDirty = true;
      this.clock.wake();
   }

   get isVisible() {
      return !this.error && (this.isLarge || this.isInView) && !this.isCovered;
   }

   get wantsPicture() {
      return this.isVisible && (this.#isDirty || this.isPlaying);
   }

   advance(elapsed) {
      if (!this.isVisible)
         return;
      if (this.isPlaying) {
         const { begin, end } = this.recording;
         this.#keepPace(elapsed);
         let time = this.time + elapsed * this.speed;
         if (time > end) {
            time = this.loops && this.time >= end ? begin : end;
            if (!this.loops)
               this.isPlaying = false;
         }
         this.seek(time);
      }
      this.stage?.controls.update();
   }

   // Where drawing is slow, as without graphics hardware, a run is played with fewer pixels.
   #keepPace(elapsed) {
      const isSlow = elapsed > SLOW;
      this.slow = isSlow ? (this.slow ?? 0) + 1 : 0;
      this.quick = isSlow ? 0 : (this.quick ?? 0) + 1;
      if (this.slow >= 3) {
         this.slow = 0;
         if (this.isRetrying)
            this.patience = Math.min(2 * this.patience, 16 * PATIENCE);
         this.isRetrying = false;
         this.detail = Math.max(0.7 * this.detail, COARSEST);
      } else if (this.quick >= this.patience) {
         this.quick = 0;
         this.isRetrying = true;
         this.detail = Math.min(this.detail / 0.7, 1);
      }
   }

   drawIfNeeded() {
      if (!this.#isDirty || !this.isVisible)
         return;
      try {
         this.needStage();
      } catch (error) {
         this.#fail(error);
         return;
      }
      const { stage } = this;
      const { width, height } = this.size ?? {};
      if (!(width > 0 && height > 0))
         return;
      this.#isDirty = false;
      const ratio = Math.min(devicePixelRatio || 1, 2) * (this.isPlaying ? this.detail : 1);
      const [x, y] = [Math.round(width * ratio), Math.round(height * ratio)];
      if (this.isTile && (this.canvas.width !== x || this.canvas.height !== y))
         Object.assign(this.canvas, { width: x, height: y });
      this.painter.paint(stage, x, y, this.isTile ? this.canvas : undefined);
      ++this.#pictures;
      this.names.place();
      this.#showScale();
   }

   // ---- size and look ----

   #resize() {
      const { width, height } = this.root.getBoundingClientRect();
      const first = !this.size;
      const isNarrow = width <= 640;
      const panel = this.find(".panel");
      const beside = !panel.hidden && this.isLarge && !isNarrow;
      this.size = {
         width, height,
         right: beside ? panel.offsetWidth + 16 : 0,
         top: !panel.hidden && this.isLarge && isNarrow ? panel.offsetHeight + 62 : this.isLarge ? 56 : 46,
         bottom: this.find("footer").offsetHeight + 16,
      };
      if (!this.stage || !(width > 0 && height > 0))
         return;
      this.stage.view.resize(this.size);
      if (first || this.isUntouched)
         this.stage.frameAll(this.size);
      this.changed();
   }

   #dress() {
      this.stage?.dress(isDark.matches ? "dark" : "light");
      this.changed();
   }

   #applyShown() {
      const { stage } = this;
      if (!stage)
         return;
      stage.forces.shows = this.#shows.contacts;
      stage.forces.enlargement = 10 ** Number(this.find(".forces").value);
      stage.skeleton.showsAll = this.#shows.frames;
      stage.look(this.#shows.transparent, this.#shows.wireframe);
      stage.refresh();
      this.names.show(this.#shows.names);
      this.changed();
   }

   #showFacts() {
      const { bodies, joints, frames } = this.recording;
      const count = (n, one, many) => `${n} ${n === 1 ? one : many}`;
      this.find(".facts").textContent = [
         count(bodies.length, "body", "bodies"), count(joints.length, "joint", "joints"),
         count(frames, "frame", "frames"), `grid ${lengthText(this.stage.grid)}`,
      ].join(" · ");
   }

   // What force an arrow stands for, as long as it is in the middle of the picture.
   #showScale() {
      const scale = this.find(".scale");
      scale.hidden = this.recording.contacts.length === 0 || !this.#shows.contacts;
      if (scale.hidden || !this.isLarge)
         return;
      const newtonsPerPixel = this.stage.forces.newtonsPerLength / this.stage.view.pixelsPerMetre;
      const newtons = roundLength(ARROW * newtonsPerPixel);
      scale.querySelector("svg").style.width = `${Math.max(newtons / newtonsPerPixel, 12).toFixed(0)}px`;
      scale.querySelector("b").textContent = forceText(newtons);
   }

   // ---- controls ----

   #wire() {
      const actions = {
         play: () => (this.isPlaying ? this.pause() : this.play()),
         back: () => this.step(-1),
         forward: () => this.step(1),
         loop: () => this.setLoop(!this.loops),
         home: () => this.home(),
         panel: () => this.openPanel(this.find(".panel").hidden),
         help: () => document.getElementById("help").showModal(),
         enlarge: () => this.enlarge(true),
         shrink: () => this.enlarge(false),
      };
      for (const button of this.root.querySelectorAll("[data-do]"))
         button.addEventListener("click", actions[button.dataset.do]);
      this.find('[data-do="panel"]').hidden = this.panel.isEmpty;

      const time = this.find(".time");
      time.addEventListener("input", () => {
         this.seek(this.recording.begin + Number(time.value) * this.duration);
      });
      const isStill = this.recording.frames < 2;
      const moving = this.root.querySelectorAll('[data-do="play"], [data-do="back"], [data-do="forward"]');
      for (const control of [time, ...moving])
         control.disabled = isStill;

      const speed = this.find(".speed");
      speed.append(...SPEEDS.map(value => new Option(`${value}×`, value)));
      speed.value = this.speed;
      speed.addEventListener("change", () => (this.speed = Number(speed.value)));
      this.find("select.follow").addEventListener("change", event => this.#follow(Number(event.target.value)));

      for (const box of this.root.querySelectorAll("[data-show]"))
         box.addEventListener("change", () => {
            this.#shows[box.dataset.show] = box.checked;
            this.#applyShown();
         });
      this.find(".forces").addEventListener("input", () => this.#applyShown());
      this.#wirePicture();
      wireKeys(this);
      document.addEventListener("pointerdown", event => {
         const menu = this.find(".menu");
         if (!menu.contains(event.target))
            menu.open = false;
      });
   }

   #wirePicture() {
      const { canvas } = this;
      this.isUntouched = true;
      for (const kind of ["pointerdown", "wheel"])
         canvas.addEventListener(kind, () => (this.isUntouched &&= !this.isLarge), { passive: true });
      canvas.addEventListener("dblclick", event => {
         if (!this.isLarge)
            return;
         const { left, top } = canvas.getBoundingClientRect();
         this.#follow(this.names.bodyAt({ x: event.clientX - left, y: event.clientY - top }));
      });
      canvas.addEventListener("click", () => this.isTile && !this.isLarge && this.enlarge(true));
   }

   /** Shows the frame that is so many after the one shown, and pauses. */
   step(count) {
      const { recording } = this;
      this.pause();
      const { frame, part } = recording.between(this.time);
      const to = count < 0 && part > 0 ? frame + count + 1 : frame + count;
      this.seek(recording.times[Math.min(Math.max(to, 0), recording.frames - 1)]);
   }

   enlarge(isLarge) {
      if (this.isLarge === isLarge)
         return;
      this.isLarge = isLarge;
      this.isUntouched = true;
      this.root.classList.toggle("large", isLarge);
      document.body.classList.toggle("covered", isLarge);
      this.onEnlarge?.(isLarge);
      this.needStage();
      this.#enableControls();
      this.openPanel(isLarge && innerWidth > 900);
      this.#resize();
      this.find(isLarge ? '[data-do="shrink"]' : '[data-do="enlarge"]').focus();
   }

   openPanel(isOpen) {
      this.find(".panel").hidden = !isOpen || this.panel.isEmpty;
      this.find('[data-do="panel"]').setAttribute("aria-expanded", String(!this.find(".panel").hidden));
      this.panel.show(this.recording.between(this.time));
      this.#resize();
   }

   home() {
      this.#follow(this.stage.extent.roams ? this.recording.places.findIndex(place => place >= 0) : -1);
      this.isUntouched = true;
      this.stage.frameAll(this.size);
      this.changed();
   }

   lookFrom(side) {
      this.isUntouched = false;
      this.stage.frameAll(this.size, side);
      this.changed();
   }

   zoom(factor) {
      this.isUntouched = false;
      this.stage.view.zoom(factor);
      this.changed();
   }

   setLoop(loops) {
      this.loops = loops;
      this.find('[data-do="loop"]').setAttribute("aria-pressed", String(loops));
   }

   changeSpeed(by) {
      const index = SPEEDS.indexOf(this.speed) + by;
      this.speed = SPEEDS[Math.min(Math.max(index, 0), SPEEDS.length - 1)];
      this.find(".speed").value = this.speed;
   }

   // What stands still needs no following.
   #follow(body) {
      const followed = this.recording.places[body] >= 0 ? body : -1;
      this.stage.follow(followed);
      this.find("select.follow").value = followed;
      this.changed();
   }

   #listFollowed() {
      const select = this.find("select.follow");
      select.replaceChildren(new Option("Follow nothing", -1));
      this.recording.bodies.forEach((body, index) => {
         if (this.recording.places[index] >= 0)
            select.append(new Option(body.name, index));
      });
      select.value = this.stage.followed;
      select.hidden = select.options.length < 2;
   }

   #showTime() {
      const { recording } = this;
      const time = this.find(".time");
      const part = this.duration > 0 ? (this.time - recording.begin) / this.duration : 0;
      time.value = part;
      time.style.setProperty("--part", `${100 * part}%`);
      const digits = Math.min(Math.max(2 - Math.floor(Math.log10(this.duration || 1)), 1), 6);
      const now = make("b", "", this.time.toFixed(digits));
      this.find(".clock").replaceChildren(now, ` / ${recording.end.toFixed(digits)} s`);
      time.setAttribute("aria-valuetext", `${this.time.toFixed(digits)} s`);
      if (this.shownPlaying !== this.isPlaying) {
         this.shownPlaying = this.isPlaying;
         const button = this.find('[data-do="play"]');
         button.setAttribute("aria-label", this.isPlaying ? "Pause" : "Play");
         button.querySelector("use").setAttribute("href", this.isPlaying ? "#icon-pause" : "#icon-play");
      }
      if (this.isLarge)
         this.panel?.show(recording.between(this.time));
   }
}

function forceText(newtons) {
   return newtons >= 1e3 ? `${+(newtons / 1e3).toPrecision(3)} kN`
        : newtons >= 1 ? `${+newtons.toPrecision(3)} N` : `${+(newtons * 1e3).toPrecision(3)} mN`;
}
