// How much room a run takes: what the camera, the light and the sizes of marks go by.
import { Box3, Sphere, Vector3 } from "three";

const SAMPLES = 20000; // of bodies at frames
const ROAMING = 7; // a run that takes so many times the room of one moment is followed
const NEAR = 1.25; // what stands still counts where it is no larger and no farther than so many times that

const ballOf = (sphere, matrix) => (sphere ?? new Sphere(new Vector3(), 0)).clone().applyMatrix4(matrix);

export const radiusOf = box => 0.5 * box.getSize(new Vector3()).length();

function boxOf(balls) {
   const box = new Box3();
   for (const ball of balls)
      if (Number.isFinite(ball.radius + ball.center.lengthSq()))
         box.union(ball.getBoundingBox(new Box3()));
   return box;
}

function framesOf({ frames, moving }) {
   if (frames === 0)
      return [0];
   const count = Math.min(frames, Math.max(2, Math.floor(SAMPLES / Math.max(moving, 1))), 240);
   return Array.from({ length: count }, (_, i) => Math.round((i * (frames - 1)) / Math.max(count - 1, 1)));
}

/**
 * The room that the bodies take. `spheres` has the bounding sphere of each body, in its frame, or
 * undefined; `placeAll(frame)` writes the matrices of all bodies at a frame.
 *
 * - balls: about what moves, over the whole run, and about what stands still near it
 * - box: about these
 * - moment: the radius of the room at one moment
 * - roams: whether the run goes so far that the camera had better follow; then `balls` are those of
 *   the first frame
 */
export function extentOf(recording, spheres, matrices, placeAll) {
   const bodies = spheres.map((_, body) => body);
   const movers = bodies.filter(body => recording.places[body] >= 0);
   const moments = framesOf(recording).map(frame => {
      placeAll(frame);
      return movers.map(body => ballOf(spheres[body], matrices[body]));
   });
   const moment = Math.max(...moments.map(balls => Math.max(radiusOf(boxOf(balls)), 0)));
   let balls = moments.flat();
   const roams = radiusOf(boxOf(balls)) > ROAMING * moment && moment > 0;
   if (roams)
      [balls] = moments;

   const still = bodies.filter(body => recording.places[body] < 0)
      .map(body => ballOf(spheres[body], matrices[body]));
   const own = boxOf(balls);
   const middle = own.getCenter(new Vector3());
   const reach = NEAR * Math.max(radiusOf(own), 1e-3);
   balls = balls.concat(own.isEmpty() ? still : still.filter(({ center, radius }) =>
      radius > 0 && radius < reach && center.distanceTo(middle) - radius < reach));

   let box = boxOf(balls);
   if (box.isEmpty() || !(radiusOf(box) > 1e-6)) {
      const centre = box.isEmpty() ? new Vector3() : box.getCenter(new Vector3());
      balls = [new Sphere(centre, 0.5)];
      box = boxOf(balls);
   }
   placeAll(0);
   return { balls, box, moment: moment || radiusOf(box), roams };
}
