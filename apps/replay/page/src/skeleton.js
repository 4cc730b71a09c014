// Frames of bodies as axes; rods from bodies without shapes to those that they hang on and to their
// centres of mass.
import { BufferAttribute, Color, CylinderGeometry, Group, Matrix4, MeshBasicMaterial, MeshStandardMaterial,
         Quaternion, SphereGeometry, Vector3 } from "three";
import { mergeGeometries } from "three/examples/jsm/utils/BufferGeometryUtils.js";
import { Batch } from "./batch.js";
import { paletteColour } from "./look.js";

function axesGeometry() {
   const axis = colour => {
      const rod = new CylinderGeometry(0.035, 0.035, 1, 10).translate(0, 0.5, 0);
      const { r, g, b } = new Color(colour);
      const colours = new Float32Array(3 * rod.attributes.position.count).map((_, i) => [r, g, b][i % 3]);
      return rod.setAttribute("color", new BufferAttribute(colours, 3));
   };
   return mergeGeometries([axis("#e0434b").rotateZ(-Math.PI / 2), axis("#37a653"),
                           axis("#3b78e7").rotateX(Math.PI / 2)]);
}

export class Skeleton extends Group {
   /** `isBare` tells of each body whether it has no shape; `size` is the length of an axis. */
   constructor(bodies, isBare, size) {
      super();
      this.bodies = bodies;
      this.isBare = isBare;
      this.size = size;
      this.showsAll = false;
      this.geometries = [axesGeometry(), new CylinderGeometry(1, 1, 1, 12), new SphereGeometry(1, 20, 14)];
      this.materials = [new MeshBasicMaterial({ vertexColors: true }),
                        new MeshStandardMaterial({ roughness: 0.6 })];
      const [axes, rod, ball] = this.geometries;
      this.axes = new Batch(axes, this.materials[0], bodies.length);
      this.rods = new Batch(rod, this.materials[1], 2 * bodies.length);
      this.balls = new Batch(ball, this.materials[1], 2 * bodies.length);
      this.rods.castShadow = this.balls.castShadow = true;
      this.add(this.axes, this.rods, this.balls);
      this.colours = bodies.map(body => paletteColour(body.manipulator ?? 0));
   }

   follow(matrices) {
      for (const batch of [this.axes, this.rods, this.balls])
         batch.clear();
      const { size } = this;
      this.bodies.forEach(({ parent, centerOfMass }, i) => {
         const hangsOnOther = parent !== null && parent !== undefined;
         if (this.showsAll || this.isBare[i])
            this.axes.add(part.copy(matrices[i]).scale(extent.setScalar(size)));
         to.setFromMatrixPosition(matrices[i]);
         if (hangsOnOther && (this.isBare[i] || this.isBare[parent]))
            this.#addRod(from.setFromMatrixPosition(matrices[parent]), to, this.colours[i]);
         if (!this.isBare[i])
            return;
         this.#addBall(to, 0.16, this.colours[i]);
         if (!centerOfMass)
            return;
         from.copy(to);
         to.set(...centerOfMass).applyMatrix4(matrices[i]);
         if (this.#addRod(from, to, this.colours[i]))
            this.#addBall(to, 0.26, this.colours[i]);
      });
      for (const batch of [this.axes, this.rods, this.balls])
         batch.commit();
   }

   #addBall(place, share, colour) {
      this.balls.add(part.compose(place, turn.identity(), extent.setScalar(share * this.size)), colour);
   }

   // False for points that are one.
   #addRod(a, b, colour) {
      const length = way.copy(b).sub(a).length();
      if (!(length > 1e-9))
         return false;
      turn.setFromUnitVectors(UP, way.divideScalar(length));
      middle.copy(a).add(b).multiplyScalar(0.5);
      this.rods.add(part.compose(middle, turn, extent.set(0.09 * this.size, length, 0.09 * this.size)), colour);
      return true;
   }

   dispose() {
      for (const batch of [this.axes, this.rods, this.balls])
         batch.dispose();
      for (const thing of [...this.geometries, ...this.materials])
         thing.dispose();
   }
}

const UP = new Vector3(0, 1, 0);
const from = new Vector3();
const to = new Vector3();
const middle = new Vector3();
const way = new Vector3();
const extent = new Vector3();
const turn = new Quaternion();
const part = new Matrix4();
