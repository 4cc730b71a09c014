// Shapes as geometries that bodies share, each with the place and size of the shape in its body.
import { BoxGeometry, BufferAttribute, BufferGeometry, CapsuleGeometry, CylinderGeometry, Matrix4,
         Quaternion, SphereGeometry, Vector3 } from "three";
import { numbersOf } from "./recording.js";

const Y = new Vector3(0, 1, 0);
const THINNEST = 1e-7; // keeps a scale invertible

const positive = length => Math.max(Math.abs(length), THINNEST);

/** The matrix of a pose x, y, z, w, x, y, z. */
export function matrixOf(pose, matrix = new Matrix4()) {
   return matrix.compose(new Vector3(pose[0], pose[1], pose[2]),
                         new Quaternion(pose[4], pose[5], pose[6], pose[3]).normalize(),
                         new Vector3(1, 1, 1));
}

// The frame whose y leads from one point to the other, in the middle of both.
function along(from, to, scale) {
   const a = new Vector3(...from);
   const b = new Vector3(...to);
   const way = b.clone().sub(a);
   const turn = way.length() > 0 ? new Quaternion().setFromUnitVectors(Y, way.normalize())
                                 : new Quaternion();
   return new Matrix4().compose(a.add(b).multiplyScalar(0.5), turn, scale);
}

const distance = (from, to) => Math.hypot(to[0] - from[0], to[1] - from[1], to[2] - from[2]);

function meshGeometry(shape) {
   const positions = numbersOf(shape.positions, Float32Array, "positions of a mesh");
   const indices = numbersOf(shape.indices, Uint32Array, "indices of a mesh");
   if (positions.length % 3 !== 0 || indices.length % 3 !== 0)
      throw new Error("A mesh has a point or a triangle that is cut off");
   if (indices.some(index => 3 * index >= positions.length))
      throw new Error("A mesh has a triangle without its points");
   let geometry = new BufferGeometry();
   geometry.setAttribute("position", new BufferAttribute(positions, 3));
   geometry.setIndex(new BufferAttribute(indices, 1));
   if (shape.flat)
      geometry = geometry.toNonIndexed();
   geometry.computeVertexNormals();
   return geometry;
}

// Of each kind: what tells its geometry from others, the geometry, and where it is in the body.
const KINDS = {
   sphere: {
      key: () => "",
      make: () => new SphereGeometry(1, 40, 24),
      place: ({ center, radius }) => along(center, center, new Vector3().setScalar(positive(radius))),
   },
   capsule: {
      key: ({ from, to, radius }) => (distance(from, to) / positive(radius)).toPrecision(5),
      make: ({ from, to, radius }) =>
         new CapsuleGeometry(1, distance(from, to) / positive(radius), 12, 32),
      place: ({ from, to, radius }) => along(from, to, new Vector3().setScalar(positive(radius))),
   },
   cylinder: {
      key: () => "",
      make: () => new CylinderGeometry(1, 1, 1, 48),
      place: ({ from, to, radius }) =>
         along(from, to, new Vector3(positive(radius), positive(distance(from, to)), positive(radius))),
   },
   box: {
      key: () => "",
      make: () => new BoxGeometry(2, 2, 2),
      place: ({ frame, halfExtents }) => matrixOf(frame).scale(new Vector3(...halfExtents.map(positive))),
   },
   mesh: {
      key: ({ positions, indices, flat }) => `${flat} ${indices} ${positions}`,
      make: meshGeometry,
      place: () => new Matrix4(),
   },
};

/** Makes geometries, each of them once. */
export class GeometryStore {
   #geometries = new Map();

   /** What draws `shape`; undefined for a kind that is not known or has no end. */
   of(shape) {
      const kind = KINDS[shape.kind];
      if (!kind)
         return undefined;
      const key = `${shape.kind} ${kind.key(shape)}`;
      let geometry = this.#geometries.get(key);
      if (!geometry) {
         geometry = kind.make(shape);
         geometry.computeBoundingBox();
         geometry.computeBoundingSphere();
         this.#geometries.set(key, geometry);
      }
      return { geometry, place: kind.place(shape) };
   }

   dispose() {
      for (const geometry of this.#geometries.values())
         geometry.dispose();
      this.#geometries.clear();
   }
}
