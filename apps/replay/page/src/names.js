// Names of bodies over the picture, and of the one that the mouse points at.
import { Vector3 } from "three";
import { make } from "./panel.js";

const MOST_NAMES = 200;

export class Names {
   #labels = [];
   #pointer; // where the mouse is, while it is over the picture

   constructor(viewer) {
      this.viewer = viewer;
      this.list = viewer.find(".labels");
      this.tooltip = viewer.find(".tooltip");
      const { canvas } = viewer;
      canvas.addEventListener("pointermove", event => {
         const { left, top } = canvas.getBoundingClientRect();
         this.#pointer = event.buttons === 0 ? { x: event.clientX - left, y: event.clientY - top } : undefined;
         viewer.changed();
      });
      canvas.addEventListener("pointerleave", () => {
         this.#pointer = undefined;
         viewer.changed();
      });
   }

   /** Shows the names of all bodies, or none. */
   show(areShown) {
      this.#labels = areShown
         ? this.viewer.bodyNames().slice(0, MOST_NAMES).map(name => make("span", "", name)) : [];
      this.list.replaceChildren(...this.#labels);
   }

   /** The body under a place of the picture in pixels; -1 for none. */
   bodyAt({ x, y }) {
      const { width, height } = this.viewer.size;
      return this.viewer.stage.pick((2 * x) / width - 1, 1 - (2 * y) / height);
   }

   /** Puts names where their bodies are in the picture. */
   place() {
      const { stage, size: { width, height } } = this.viewer;
      this.#labels.forEach((label, body) => {
         const at = stage.project(body, projected);
         label.style.visibility = at.z < 1 ? "visible" : "hidden";
         const [x, y] = [((at.x + 1) / 2) * width, ((1 - at.y) / 2) * height];
         label.style.transform = `translate(${x}px, ${y}px) translate(-50%, -50%)`;
      });
      this.#point();
   }

   #point() {
      const { viewer, tooltip } = this;
      const body = this.#pointer ? this.bodyAt(this.#pointer) : -1;
      if (viewer.stage.highlight(body))
         viewer.changed();
      tooltip.hidden = body < 0;
      if (body < 0)
         return;
      tooltip.textContent = viewer.recording.bodies[body].name;
      const { x, y } = this.#pointer;
      const right = viewer.size.width - tooltip.offsetWidth - 8;
      tooltip.style.transform = `translate(${Math.min(x + 14, right)}px, ${Math.max(y - 34, 4)}px)`;
   }
}

const projected = new Vector3();
