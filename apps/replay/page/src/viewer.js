// One scene with its controls: over the whole window, or a tile of many that can be enlarged.
import { Vector3 } from "three";
import { lengthText, make, Panel } from "./panel.js";
import { Recording } from "./recording.js";
import { Stage } from "./stage.js";

const SPEEDS = [0.1, 0.2, 0.5, 1, 2, 5, 10];
const MOST_NAMES = 200;
const SLOW = 0.06; // s between two pictures, from which on a run is played with fewer pixels
const COARSEST = 0.35;
const LEAST_SECONDS = 2.5; // a shorter run is shown slower

const isDark = matchMedia("(prefers-color-scheme: dark)");
const isCalm = matchMedia("(prefers-reduced-motion: reduce)");

export class Viewer {
   #shows = { contacts: true, frames: false, names: false, transparent: false, wireframe: false };
   #pointer; // where the mouse is, while it is over the picture
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
      this.speed = SPEEDS.findLast(speed => speed <= 1 && this.duration / speed >= LEAST_SECONDS) ?? SPEEDS[0];
      if (!painter) {
         this.#fail(new Error("This browser has no WebGL 2, or it is switched off"));
         return;
      }
      if (!isTile)
         this.#takeCanvas();
      this.canvas.setAttribute("aria-label", `Scene ${this.recording.title}, ${this.recording.bodies.length} bodies`);
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
      for (const part of this.root.querySelectorAll("footer, .corner, .scale"))
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
      return this.needStage().arrows.count;
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
      this.stage.controls.enabled = this.isLarge;
      this.stage.show(this.time);
      this.#applyShown();
      this.#dress();
      this.#resize();
      this.stage.frameAll();
      this.#listFollowed();
      this.#showFacts();
      return this.stage;
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
      this.slow = elapsed > SLOW ? (this.slow ?? 0) + 1 : 0;
      if (this.slow < 3)
         return;
      this.slow = 0;
      this.detail = Math.max(0.7 * this.detail, COARSEST);
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
      this.#point();
      this.#placeNames();
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
         top: !panel.hidden && this.isLarge && isNarrow ? panel.offsetHeight + 62 : this.isLarge ? 56 : 30,
         bottom: this.find("footer").offsetHeight + 16,
      };
      if (!this.stage || !(width > 0 && height > 0))
         return;
      this.stage.resize(this.size);
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
      stage.showsContacts = this.#shows.contacts;
      stage.skeleton.showsAll = this.#shows.frames;
      stage.look(this.#shows.transparent, this.#shows.wireframe);
      stage.forceScale = 10 ** Number(this.find(".forces").value);
      stage.refresh();
      this.#makeNames();
      this.#showScale();
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

   #showScale() {
      const scale = this.find(".scale");
      scale.hidden = this.recording.contacts.length === 0 || !this.#shows.contacts;
      const length = 0.2 * this.stage.radius;
      const newtons = (length * this.stage.newtonsPerLength) / this.stage.forceScale;
      scale.textContent = `Contact forces, ${lengthText(Number(length.toPrecision(1)))} for ` +
         `${+((newtons * Number(length.toPrecision(1))) / length).toPrecision(2)} N`;
   }

   // ---- names ----

   #makeNames() {
      const labels = this.find(".labels");
      labels.replaceChildren();
      this.names = this.#shows.names
         ? this.bodyNames().slice(0, MOST_NAMES).map(name => make("span", "", name)) : [];
      labels.append(...this.names);
   }

   #placeNames() {
      const { width, height } = this.size;
      this.names?.forEach((label, body) => {
         const at = this.stage.project(body, projected);
         label.style.visibility = at.z < 1 ? "visible" : "hidden";
         label.style.transform = `translate(${((at.x + 1) / 2) * width}px, ${((1 - at.y) / 2) * height}px) translate(-50%, -50%)`;
      });
   }

   // The name of what the mouse points at.
   #point() {
      const tooltip = this.find(".tooltip");
      const body = this.#pointer ? this.stage.pick(...this.#onPicture(this.#pointer)) : -1;
      if (this.stage.highlight(body))
         this.changed();
      tooltip.hidden = body < 0;
      if (body < 0)
         return;
      tooltip.textContent = this.recording.bodies[body].name;
      const { x, y } = this.#pointer;
      const right = this.size.width - tooltip.offsetWidth - 8;
      tooltip.style.transform = `translate(${Math.min(x + 14, right)}px, ${Math.max(y - 34, 4)}px)`;
   }

   #onPicture({ x, y }) {
      return [(2 * x) / this.size.width - 1, 1 - (2 * y) / this.size.height];
   }

   // ---- controls ----

   #wire() {
      const actions = {
         play: () => (this.isPlaying ? this.pause() : this.play()),
         back: () => this.step(-1),
         forward: () => this.step(1),
         loop: () => this.#setLoop(!this.loops),
         home: () => this.#home(),
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
      for (const control of [time, ...this.root.querySelectorAll('[data-do="play"], [data-do="back"], [data-do="forward"]')])
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
      this.#wireKeys();
      document.addEventListener("pointerdown", event => {
         const menu = this.find(".menu");
         if (!menu.contains(event.target))
            menu.open = false;
      });
   }

   #wirePicture() {
      const { canvas } = this;
      this.isUntouched = true;
      canvas.addEventListener("pointermove", event => {
         const { left, top } = canvas.getBoundingClientRect();
         this.#pointer = event.buttons === 0 ? { x: event.clientX - left, y: event.clientY - top } : undefined;
         this.changed();
      });
      canvas.addEventListener("pointerleave", () => {
         this.#pointer = undefined;
         this.changed();
      });
      for (const kind of ["pointerdown", "wheel"])
         canvas.addEventListener(kind, () => (this.isUntouched &&= !this.isLarge), { passive: true });
      canvas.addEventListener("dblclick", event => {
         if (!this.isLarge)
            return;
         const { left, top } = canvas.getBoundingClientRect();
         this.#follow(this.stage.pick(...this.#onPicture({ x: event.clientX - left, y: event.clientY - top })));
      });
      canvas.addEventListener("click", () => this.isTile && !this.isLarge && this.enlarge(true));
   }

   #wireKeys() {
      const toggle = what => () => this.find(`[data-show="${what}"]`).click();
      const keys = {
         " ": () => (this.isPlaying ? this.pause() : this.play()),
         ArrowLeft: event => this.step(event.shiftKey ? -10 : -1),
         ArrowRight: event => this.step(event.shiftKey ? 10 : 1),
         Home: () => this.seek(this.recording.begin),
         End: () => this.seek(this.recording.end),
         ",": () => this.#changeSpeed(-1),
         ".": () => this.#changeSpeed(1),
         l: () => this.#setLoop(!this.loops),
         r: () => this.#home(),
         p: () => this.openPanel(this.find(".panel").hidden),
         c: toggle("contacts"),
         f: toggle("frames"),
         n: toggle("names"),
         t: toggle("transparent"),
         w: toggle("wireframe"),
         "?": () => document.getElementById("help").showModal(),
         Escape: () => this.isTile && this.enlarge(false),
      };
      addEventListener("keydown", event => {
         const at = event.target;
         const isOurs = this.isLarge && !document.getElementById("help").open && !event.ctrlKey && !event.metaKey &&
            !event.altKey && !at.matches?.("select") && !(event.key === " " && at.matches?.("button, summary, input[type=checkbox]")) &&
            !(/^Arrow|Home|End/.test(event.key) && at.matches?.(".forces"));
         const action = keys[event.key.length === 1 ? event.key.toLowerCase() : event.key];
         if (!isOurs || !action)
            return;
         event.preventDefault();
         action(event);
      });
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
      this.needStage().controls.enabled = isLarge;
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

   #home() {
      this.#follow(this.stage.extent.roams ? this.recording.places.findIndex(place => place >= 0) : -1);
      this.isUntouched = true;
      this.stage.frameAll(this.size);
      this.changed();
   }

   #setLoop(loops) {
      this.loops = loops;
      this.find('[data-do="loop"]').setAttribute("aria-pressed", String(loops));
   }

   #changeSpeed(by) {
      const index = SPEEDS.indexOf(this.speed) + by;
      this.speed = SPEEDS[Math.min(Math.max(index, 0), SPEEDS.length - 1)];
      this.find(".speed").value = this.speed;
   }

   #follow(body) {
      this.stage.follow(body);
      this.find("select.follow").value = body;
      this.changed();
   }

   #listFollowed() {
      const select = this.find("select.follow");
      select.replaceChildren(new Option("Free view", -1));
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

const projected = new Vector3();
