// How much room a run takes: what the camera, the light and the sizes of marks go by.
import { Box3, Sphere, Vector3 } from "three";

const SAMPLES = 240;
const ROAMING = 7; // a run that takes so many times the room of one moment is followed

/**
 * The room that the bodies take. `spheres` has the bounding sphere of each body, in its frame, or
 * undefined; `placeAll(frame)` writes the matrices of all bodies at a frame.
 *
 * - box: what moves, over the whole run, and what stands still near it
 * - moment: the radius of the room at one moment
 * - roams: whether the run goes so far that the camera had better follow
 */
export function extentOf(recording, spheres, matrices, placeAll) {
   const all = new Box3();
   const first = new Box3();
   let moment = 0;
   const frames = Math.max(recording.frames, 1);
   const stride = Math.max(1, Math.ceil(frames / SAMPLES));
   const sampled = [];
   for (let frame = 0; frame < frames; frame += stride)
      sampled.push(frame);
   if (sampled.at(-1) !== frames - 1)
      sampled.push(frames - 1);

   for (const frame of sampled) {
      placeAll(frame);
      const box = new Box3();
      for (let body = 0; body < spheres.length; ++body)
         if (recording.places[body] >= 0)
            box.union(boxOf(spheres[body], matrices[body]));
      if (box.isEmpty())
         continue;
      all.union(box);
      if (first.isEmpty())
         first.copy(box);
      moment = Math.max(moment, radiusOf(box));
   }

   // What stands still counts where it is not much larger and not far away.
   placeAll(0);
   const still = spheres.map((_, body) => body).filter(body => recording.places[body] < 0);
   const rests = new Box3();
   for (const body of still)
      rests.union(boxOf(spheres[body], matrices[body]));
   const roams = !all.isEmpty() && radiusOf(all) > ROAMING * moment;
   const box = all.isEmpty() ? rests.clone() : roams ? first.clone() : all.clone();
   const middle = box.getCenter(new Vector3());
   const reach = Math.max(radiusOf(box), 1e-3);
   for (const body of still) {
      const own = boxOf(spheres[body], matrices[body]);
      if (radiusOf(own) < 2.5 * reach && own.distanceToPoint(middle) < 2.5 * reach)
         box.union(own);
   }
   if (box.isEmpty() || !Number.isFinite(radiusOf(box)))
      box.set(new Vector3(-0.5, -0.5, -0.5), new Vector3(0.5, 0.5, 0.5));
   if (radiusOf(box) < 1e-3)
      box.expandByScalar(0.3);
   return { box, all: all.isEmpty() ? box : all, moment: moment || radiusOf(box), roams };
}

export const radiusOf = box => 0.5 * box.getSize(new Vector3()).length();

function boxOf(sphere, matrix) {
   const box = new Box3();
   if (!sphere)
      return box.expandByPoint(new Vector3().setFromMatrixPosition(matrix));
   return new Sphere().copy(sphere).applyMatrix4(matrix).getBoundingBox(box);
}
