// Many things of one geometry and one material, drawn at once.
import { Color, DynamicDrawUsage, InstancedMesh, Matrix4, Sphere, Vector3 } from "three";

const EVERYWHERE = new Sphere(new Vector3(), Infinity);

export class Batch extends InstancedMesh {
   constructor(geometry, material, capacity) {
      super(geometry, material, Math.max(capacity, 1));
      this.instanceMatrix.setUsage(DynamicDrawUsage);
      this.frustumCulled = false;
      this.boundingSphere = EVERYWHERE;
      this.matrixAutoUpdate = false;
      this.count = 0;
   }

   clear() {
      this.count = 0;
      return this;
   }

   add(matrix, colour) {
      this.setMatrixAt(this.count, matrix);
      if (colour)
         this.setColorAt(this.count, colour);
      ++this.count;
   }

   /** Where the one that was added as number `index` stands. */
   matrixAt(index) {
      const matrix = new Matrix4();
      this.getMatrixAt(index, matrix);
      return matrix;
   }

   /** Hands what was added to the graphics. */
   commit() {
      this.visible = this.count > 0;
      this.instanceMatrix.needsUpdate = true;
      if (this.instanceColor)
         this.instanceColor.needsUpdate = true;
   }
}

/** Shapes of bodies: each instance stands at its place in its body. */
export class ShapeBatch extends Batch {
   constructor(geometry, material, parts) {
      super(geometry, material, parts.length);
      this.parts = parts;
      this.castShadow = true;
      this.receiveShadow = true;
      for (const { place, colour } of parts)
         this.add(place, colour);
      this.commit();
   }

   /** Moves each instance with its body, to `matrices` by body. */
   follow(matrices) {
      for (let i = 0; i < this.parts.length; ++i)
         this.setMatrixAt(i, product.multiplyMatrices(matrices[this.parts[i].body], this.parts[i].place));
      this.instanceMatrix.needsUpdate = true;
   }

   /** Lets the shapes of one body stand out; none for -1. */
   highlight(body) {
      for (let i = 0; i < this.parts.length; ++i) {
         shown.copy(this.parts[i].colour);
         this.setColorAt(i, this.parts[i].body === body ? shown.lerp(WHITE, 0.35) : shown);
      }
      this.instanceColor.needsUpdate = true;
   }
}

const product = new Matrix4();
const shown = new Color();
const WHITE = new Color("#ffffff");
