// Contact points as dots and the forces that act there as arrows. What stands behind something
// shines through faintly.
import { ConeGeometry, CylinderGeometry, GreaterDepth, Group, Matrix4, MeshBasicMaterial, Quaternion,
         SphereGeometry, Vector3 } from "three";
import { Batch } from "./batch.js";

const UP = new Vector3(0, 1, 0);
const COLOUR = { light: "#d6246e", dark: "#ff5c9a" };

export class Arrows extends Group {
   constructor(capacity, size) {
      super();
      this.size = size; // the radius of a dot
      this.longest = 40 * size;
      this.geometries = [new SphereGeometry(1, 16, 12),
                         new CylinderGeometry(1, 1, 1, 12).translate(0, 0.5, 0),
                         new ConeGeometry(1, 1, 16).translate(0, 0.5, 0)];
      this.seen = new MeshBasicMaterial({ toneMapped: false });
      this.hidden = new MeshBasicMaterial({
         toneMapped: false, transparent: true, opacity: 0.3, depthFunc: GreaterDepth, depthWrite: false,
      });
      this.batches = this.geometries.map(geometry => new Batch(geometry, this.seen, capacity));
      this.ghosts = this.geometries.map((geometry, i) => {
         const ghost = new Batch(geometry, this.hidden, 1);
         ghost.instanceMatrix = this.batches[i].instanceMatrix;
         ghost.renderOrder = 5;
         return ghost;
      });
      this.add(...this.batches, ...this.ghosts);
      this.count = 0;
   }

   clear() {
      this.batches.forEach(batch => batch.clear());
      this.count = 0;
   }

   /** Adds the point and, where it has a length, the arrow of `force` times `scale`. */
   show(point, force, scale) {
      const [dots, shafts, heads] = this.batches;
      const at = place.set(point[0], point[1], point[2]);
      dots.add(matrix.compose(at, NO_TURN, extent.setScalar(this.size)));
      const length = Math.min(scale * Math.hypot(force[0], force[1], force[2]), this.longest);
      if (!(length > 0.2 * this.size))
         return;
      ++this.count;
      way.set(force[0], force[1], force[2]).normalize();
      turn.setFromUnitVectors(UP, way);
      const head = Math.min(3.2 * this.size, 0.6 * length);
      const width = Math.min(this.size, 0.3 * length);
      shafts.add(matrix.compose(at, turn, extent.set(0.42 * width, length - head, 0.42 * width)));
      at.addScaledVector(way, length - head);
      heads.add(matrix.compose(at, turn, extent.set(1.1 * width, head, 1.1 * width)));
   }

   commit() {
      this.batches.forEach((batch, i) => {
         batch.commit();
         this.ghosts[i].count = batch.count;
         this.ghosts[i].visible = batch.visible;
      });
   }

   dress(isDark) {
      this.seen.color.set(isDark ? COLOUR.dark : COLOUR.light);
      this.hidden.color.copy(this.seen.color);
   }

   dispose() {
      [...this.batches, ...this.ghosts].forEach(batch => batch.dispose());
      this.geometries.forEach(geometry => geometry.dispose());
      this.seen.dispose();
      this.hidden.dispose();
   }
}

const NO_TURN = new Quaternion();
const matrix = new Matrix4();
const place = new Vector3();
const way = new Vector3();
const extent = new Vector3();
const turn = new Quaternion();
