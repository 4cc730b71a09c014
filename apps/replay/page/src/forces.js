// The contact points of a moment, and the forces there.
import { Group, Matrix4, Vector3 } from "three";
import { Arrows } from "./arrows.js";
import { matrixOf } from "./geometry.js";

export class Forces extends Group {
   /** `reach` bounds the sizes; `spheres` has the ball about each body, or undefined. */
   constructor(recording, spheres, reach) {
      super();
      this.recording = recording;
      this.shows = true;
      this.enlargement = 1;
      let capacity = 0;
      for (let frame = 0; frame < recording.frames; ++frame)
         capacity = Math.max(capacity, recording.starts[frame + 1] - recording.starts[frame]);
      const length = Math.min(0.34 * reach, 2.4 * usualTouching(recording, spheres));
      this.arrows = new Arrows(capacity, 0.06 * length);
      this.usual = usualForce(recording) / length;
      this.add(this.arrows);
   }

   /** What an arrow of one metre stands for (N). */
   get newtonsPerLength() {
      return this.usual / this.enlargement;
   }

   /** Shows the contacts of a frame where the bodies have them at `matrices`. */
   show(frame, matrices) {
      const { recording, arrows } = this;
      arrows.clear();
      if (this.shows)
         recording.eachContact(frame, (point, force, first, second) => {
            // Of a body that stands still and one that moves, the arrow is that of the one that moves.
            const isOther = recording.places[second] < 0 && recording.places[first] >= 0;
            const body = isOther ? first : second;
            place.set(...point);
            if (recording.places[body] >= 0 && recording.poseAtFrame(body, frame, pose))
               place.applyMatrix4(matrixOf(pose, then).invert()).applyMatrix4(matrices[body]);
            way.set(...force).multiplyScalar(isOther ? -1 : 1);
            arrows.show(place.toArray(), way.toArray(), 1 / this.newtonsPerLength);
         });
      arrows.commit();
   }

   dispose() {
      this.arrows.dispose();
   }
}

// A force that few contacts exceed: a blow does not shrink all other arrows.
function usualForce({ contacts }) {
   const forces = [];
   const rows = contacts.length / 8;
   const stride = Math.max(1, Math.floor(rows / 5000));
   for (let row = 0; row < rows; row += stride) {
      const force = Math.hypot(...contacts.subarray(8 * row + 3, 8 * row + 6));
      if (force > 0 && Number.isFinite(force))
         forces.push(force);
   }
   forces.sort((a, b) => a - b);
   return forces[Math.floor(0.9 * forces.length)] || 1;
}

// The radius of the usual body that touches another: of each pair the smaller one.
function usualTouching({ contacts, places }, spheres) {
   const radii = [];
   for (let row = 0; row < contacts.length; row += 8) {
      const pair = [contacts[row + 6], contacts[row + 7]].filter(body => spheres[body] && places[body] >= 0);
      if (pair.length > 0)
         radii.push(Math.min(...pair.map(body => spheres[body].radius)));
   }
   radii.sort((a, b) => a - b);
   return radii[radii.length >> 1] ?? Infinity;
}

const pose = new Float64Array(7);
const then = new Matrix4();
const place = new Vector3();
const way = new Vector3();
