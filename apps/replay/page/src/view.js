// Where the run is seen from.
import { Box3, PerspectiveCamera, Vector3 } from "three";
import { OrbitControls } from "three/examples/jsm/controls/OrbitControls.js";
import { radiusOf } from "./extent.js";

const ELEVATION = 0.42; // of the one who looks, over the distance along the floor
const FILLED = 0.85; // of the free part of the picture, by all that is near,
const LEAST_FILLED = 0.6; // or by what moves, where the rest is far larger
const LED = 0.6; // by what moves at one moment, where the camera goes along

export class View {
   /** Of a run of this extent; the camera is turned by what happens on `element`. */
   constructor(up, extent, element) {
      this.up = up;
      this.extent = extent;
      this.radius = radiusOf(extent.box);
      this.camera = new PerspectiveCamera(32, 1, 0.1, 100);
      this.camera.up.copy(this.up);
      this.camera.position.copy(this.level()).addScaledVector(this.up, ELEVATION);
      this.controls = new OrbitControls(this.camera, element);
      this.controls.enableDamping = true;
      this.controls.dampingFactor = 0.12;
      this.controls.zoomToCursor = true;
   }

   /** A direction along the floor from which the run is seen at its broadest. */
   level() {
      const east = new Vector3(1, 0, 0);
      if (Math.abs(this.up.x) > 0.9)
         east.set(0, 1, 0);
      east.addScaledVector(this.up, -east.dot(this.up)).normalize();
      const north = this.up.clone().cross(east);
      const size = this.extent.box.getSize(new Vector3());
      const width = direction => Math.abs(direction.x) * size.x + Math.abs(direction.y) * size.y +
                                 Math.abs(direction.z) * size.z;
      const away = width(east) >= 0.8 * width(north) ? north.negate() : east;
      return away.applyAxisAngle(this.up, 0.55);
   }

   // From the usual side, the front, the side or above.
   #direction(side) {
      const usual = this.level();
      const front = usual.clone().applyAxisAngle(this.up, -0.55);
      const directions = {
         usual: usual.addScaledVector(this.up, ELEVATION), front,
         side: front.clone().applyAxisAngle(this.up, Math.PI / 2),
         above: this.up.clone().addScaledVector(front, 1e-3),
      };
      return directions[side].normalize();
   }

   /**
    * Lets the camera see the whole run, or the points `now`, in the part of the picture that nothing covers, from
    * a side: usual, front, side, above.
    */
   frame(size, now, side) {
      this.size = size;
      const towards = this.#direction(side);
      const right = this.up.clone().cross(towards).normalize();
      const axes = [right, towards.clone().cross(right), towards];
      const { moving, still } = this.extent;
      const places = now ?? moving;
      const middle = new Box3().setFromPoints(places).getCenter(new Vector3());
      let eye;
      if (now) {
         eye = this.#eyeFor(places, axes, LED);
      } else {
         eye = this.#eyeFor(moving.concat(still), axes, FILLED);
         const nearer = moving.length > 0 ? this.#eyeFor(moving, axes, LEAST_FILLED) : eye;
         if (nearer.z < eye.z)
            eye = nearer;
      }
      const at = depth => new Vector3().addScaledVector(axes[0], eye.x).addScaledVector(axes[1], eye.y)
         .addScaledVector(towards, depth);
      const target = at(Math.min(middle.dot(towards), eye.z - 1e-3 * this.radius));
      const { controls } = this;
      // What a drag left in motion ends here.
      controls.enableDamping = false;
      controls.update();
      controls.target.copy(target);
      this.camera.position.copy(at(eye.z));
      controls.minDistance = 0.02 * this.radius;
      controls.maxDistance = 40 * this.camera.position.distanceTo(target);
      controls.update();
      controls.enableDamping = true;
   }

   // Where to look from, along axes to the right, up and to the one who looks, so that points fill a part of
   // what is free: as near as the four sides of the picture let it come.
   #eyeFor(points, axes, part) {
      const { width = 1, height = 1, right = 0, top = 0, bottom = 0 } = this.size ?? {};
      const tangent = Math.tan((this.camera.fov / 2) * (Math.PI / 180)) * part;
      const slopes = [tangent * this.camera.aspect * Math.max(1 - right / width, 0.2),
                      tangent * Math.max(1 - (top + bottom) / height, 0.2)];
      const eye = new Vector3(0, 0, -Infinity);
      slopes.forEach((slope, k) => {
         let [most, least] = [-Infinity, -Infinity];
         for (const point of points) {
            const aside = point.dot(axes[k]);
            const depth = slope * point.dot(axes[2]);
            most = Math.max(most, depth + aside);
            least = Math.max(least, depth - aside);
         }
         eye.setComponent(k, (most - least) / 2);
         eye.z = Math.max(eye.z, (most + least) / (2 * slope));
      });
      return eye;
   }

   /** Goes nearer by a factor below one, or away. */
   zoom(factor) {
      const { target } = this.controls;
      this.camera.position.sub(target).multiplyScalar(factor).add(target);
      this.controls.update();
   }

   /** Goes along. */
   moveBy(way) {
      this.camera.position.add(way);
      this.controls.target.add(way);
   }

   /** Lets the camera see near and far things. */
   reachAll() {
      const distance = this.camera.position.distanceTo(this.controls.target);
      this.camera.near = Math.max(distance, 0.2 * this.radius) / 150;
      this.camera.far = 40 * this.radius + 4 * distance;
      this.camera.updateProjectionMatrix();
   }

   /** Of pixels at the middle of what is looked at. */
   get pixelsPerMetre() {
      const distance = this.camera.position.distanceTo(this.controls.target);
      return (this.size?.height ?? 1) / (2 * Math.tan((this.camera.fov / 2) * (Math.PI / 180)) * distance);
   }

   /** The size of the picture, and how much of it is covered at its edges, in pixels. */
   resize(size) {
      this.size = size;
      const { width, height, right, top, bottom } = size;
      this.camera.aspect = width / height;
      this.camera.setViewOffset(width, height, right / 2, (bottom - top) / 2, width, height);
   }
}
