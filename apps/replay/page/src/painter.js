// Draws stages by one graphics context, however many scenes a page has.
import { NeutralToneMapping, PCFShadowMap, WebGLRenderer } from "three";

export class Painter {
   /** The painter of a page; undefined where the browser has no WebGL. */
   static make() {
      const canvas = document.createElement("canvas");
      const context = canvas.getContext("webgl2", { alpha: true, antialias: true });
      return context ? new Painter(canvas, context) : undefined;
   }

   constructor(canvas, context) {
      this.canvas = canvas;
      this.renderer = new WebGLRenderer({ canvas, context });
      this.renderer.setClearColor(0, 0);
      this.renderer.shadowMap.enabled = true;
      this.renderer.shadowMap.type = PCFShadowMap;
      this.renderer.toneMapping = NeutralToneMapping;
      this.width = this.height = 0;
      this.onRestored = []; // what to do when the graphics come back after they were lost
      canvas.addEventListener("webglcontextrestored", () => this.onRestored.forEach(restore => restore()));
   }

   /** Draws `stage` in a size in pixels of the screen, on `target` or, without one, on our canvas. */
   paint(stage, width, height, target) {
      if (target ? width > this.width || height > this.height
                 : width !== this.width || height !== this.height) {
         this.width = target ? Math.max(width, this.width) : width;
         this.height = target ? Math.max(height, this.height) : height;
         this.renderer.setSize(this.width, this.height, false);
      }
      this.renderer.setViewport(0, 0, width, height);
      this.renderer.setScissor(0, 0, width, height);
      this.renderer.setScissorTest(Boolean(target));
      stage.draw(this.renderer, Math.max(width, height));
      if (!target)
         return;
      const drawing = target.getContext("2d");
      drawing.clearRect(0, 0, width, height);
      drawing.drawImage(this.canvas, 0, this.height - height, width, height, 0, 0, width, height);
   }
}
