// How much room a run takes: what the camera, the light and the sizes of marks go by.
import { Box3, Vector3 } from "three";

const SAMPLES = 3000; // of bodies at frames
const ROAMING = 3; // a run that goes so many times the room of one moment along the ground is followed,
const FALLING = 12; // and one that goes up and down above a ground only from here on
const STRAY = 0.1; // the share of places on each side of an axis that may be left out,
const WORTHWHILE = 0.6; // where the rest then takes no more than this part of the room,
const CROWD = 5; // and there are as many manipulators that move
const NEAR = 3; // what stands still counts where it is no larger and no farther than so many times that

export const radiusOf = box => (box.isEmpty() ? 0 : 0.5 * box.getSize(new Vector3()).length());

/** The corners of a box, or its frame's origin where it is empty, under `matrix`. */
export function cornersOf(box, matrix) {
   if (box.isEmpty())
      return [new Vector3().setFromMatrixPosition(matrix)];
   const { min, max } = box;
   return Array.from({ length: 8 }, (_, i) =>
      new Vector3(i & 1 ? min.x : max.x, i & 2 ? min.y : max.y, i & 4 ? min.z : max.z).applyMatrix4(matrix));
}

const isFinitePoint = point => Number.isFinite(point.lengthSq());

function framesOf({ frames, moving }) {
   if (frames === 0)
      return [0];
   const count = Math.min(frames, Math.max(2, Math.floor(SAMPLES / Math.max(moving, 1))), 240);
   return Array.from({ length: count }, (_, i) => Math.round((i * (frames - 1)) / Math.max(count - 1, 1)));
}

// The room without what few samples take alone, as a block that is thrown far away.
function usualRoom(points) {
   const whole = new Box3().setFromPoints(points);
   const usual = new Box3();
   for (const axis of ["x", "y", "z"]) {
      const sorted = Float64Array.from(points, point => point[axis]).sort();
      const cut = Math.floor(STRAY * sorted.length);
      usual.min[axis] = sorted[cut];
      usual.max[axis] = sorted[sorted.length - 1 - cut];
   }
   return radiusOf(usual) > WORTHWHILE * radiusOf(whole) ? whole : usual;
}

function goesFar(box, moment, up, hasGround) {
   const size = box.getSize(new Vector3());
   const height = Math.abs(size.dot(up));
   const along = Math.sqrt(Math.max(size.lengthSq() - height * height, 0));
   return moment > 0 && (along > 2 * ROAMING * moment || height > 2 * (hasGround ? FALLING : ROAMING) * moment);
}

/**
 * The room that the bodies take. `boxes` has the box about each body, in its frame, possibly empty;
 * `placeAll(frame)` writes the matrices of all bodies at a frame.
 *
 * - moving: corners of what moves, over the whole run
 * - still: corners of what stands still near it
 * - box: about these
 * - moment: the radius of the room at one moment
 * - roams: whether the run goes so far that the camera had better follow; then `moving` is of the
 *   first frame
 */
export function extentOf(recording, boxes, matrices, placeAll) {
   const bodies = boxes.map((_, body) => body);
   const movers = bodies.filter(body => recording.places[body] >= 0);
   // What hangs on something takes the room up to there.
   const anchors = bodies.filter(body => recording.places[body] < 0 &&
      movers.some(mover => recording.bodies[mover].parent === body));
   const all = framesOf(recording).map(frame => {
      placeAll(frame);
      return movers.flatMap(body => cornersOf(boxes[body], matrices[body])).filter(isFinitePoint);
   });
   const count = new Set(movers.map(body => recording.bodies[body].manipulator)).size;
   const usual = count < CROWD ? new Box3().setFromPoints(all.flat()) : usualRoom(all.flat());
   const moments = all.map(points => points.filter(point => usual.containsPoint(point)));
   const hung = anchors.map(body => new Vector3().setFromMatrixPosition(matrices[body]));
   const rooms = moments.map(points => radiusOf(new Box3().setFromPoints([...points, ...hung]))).sort((a, b) => a - b);
   const moment = rooms[Math.floor(0.9 * rooms.length)] ?? 0;
   const hasGround = recording.bodies.some(({ shapes }) => shapes?.some(({ kind }) => kind === "halfSpace"));
   const roams = goesFar(usual, moment, new Vector3(...recording.up), hasGround);
   let moving = (roams ? all[0] : moments.flat()).concat(hung);

   const own = new Box3().setFromPoints(moving);
   const middle = own.getCenter(new Vector3());
   const reach = NEAR * Math.max(radiusOf(own), 1e-3);
   const still = bodies.filter(body => recording.places[body] < 0).flatMap(body => {
      if (boxes[body].isEmpty() && !own.isEmpty())
         return [];
      const corners = cornersOf(boxes[body], matrices[body]);
      const room = new Box3().setFromPoints(corners);
      const isNear = radiusOf(room) < reach && room.distanceToPoint(middle) < reach;
      return own.isEmpty() || isNear ? corners : [];
   });

   const box = new Box3().setFromPoints([...moving, ...still]);
   if (box.isEmpty() || !(radiusOf(box) > 1e-6)) {
      const centre = box.isEmpty() ? new Vector3() : box.getCenter(new Vector3());
      box.set(centre.clone().subScalar(0.3), centre.clone().addScalar(0.3));
      moving = [box.min.clone(), box.max.clone()];
   }
   placeAll(0);
   return { moving, still, box, moment: moment || radiusOf(box), roams };
}
