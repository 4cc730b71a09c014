// The scene of a recording in space: bodies, floor, light and camera.
import { Box3, Group, PerspectiveCamera, Quaternion, Raycaster, Scene, Sphere, Vector2, Vector3 } from "three";
import { OrbitControls } from "three/examples/jsm/controls/OrbitControls.js";
import { ShapeBatch } from "./batch.js";
import { cornersOf, extentOf, radiusOf } from "./extent.js";
import { Floor, roundLength } from "./floor.js";
import { Forces } from "./forces.js";
import { GeometryStore, matrixOf } from "./geometry.js";
import { Light } from "./light.js";
import { floorTint, shapeColour, Surfaces, THEMES } from "./look.js";
import { Skeleton } from "./skeleton.js";

const Z = new Vector3(0, 0, 1);
const ORIGIN = new Vector3();
const ELEVATION = 0.42; // of the one who looks, over the distance along the floor
const FILLED = 0.85; // of the free part of the picture, by all that is near,
const LEAST_FILLED = 0.6; // or by what moves, where the rest is far larger
const LED = 0.6; // by what moves at one moment, where the camera goes along

export class Stage {
   #geometries = new GeometryStore();
   #surfaces = new Surfaces();
   #batches = [];
   #floors = [];
   #lit = -1; // the body that stands out
   #pose = new Float64Array(7);

   /** Builds the scene of `recording`; the camera is turned by what happens on `element`. */
   constructor(recording, element) {
      this.recording = recording;
      this.scene = new Scene();
      this.scene.matrixAutoUpdate = false;
      this.up = new Vector3(...recording.up);
      this.matrices = recording.bodies.map(body => matrixOf(body.pose ?? [0, 0, 0, 1, 0, 0, 0]));
      this.followed = -1;
      this.frame = -1;

      this.#addShapes();
      this.extent = extentOf(recording, this.boxes, this.matrices, frame => this.#place({ frame, part: 0 }));
      this.radius = radiusOf(this.extent.box);
      this.centre = this.extent.box.getCenter(new Vector3());
      this.#addFloor();
      this.#addMarks();
      this.#addCamera(element);
      if (this.extent.roams)
         this.follow(recording.places.findIndex(place => place >= 0));
      this.show(recording.begin);
   }

   #addShapes() {
      const { bodies, places } = this.recording;
      const moves = new Set(bodies.filter((_, i) => places[i] >= 0).map(body => body.manipulator));
      const groups = new Map();
      const linkOf = new Map();
      this.boxes = bodies.map(() => new Box3());
      this.spheres = bodies.map((body, index) => {
         const link = linkOf.get(body.manipulator) ?? 0;
         linkOf.set(body.manipulator, link + 1);
         const isEnvironment = places[index] < 0 && !moves.has(body.manipulator);
         let sphere;
         for (const shape of body.shapes ?? []) {
            const drawn = this.#geometries.of(shape);
            if (!drawn)
               continue;
            const { geometry, place } = drawn;
            const material = this.#surfaces.of(shape.material);
            const key = `${geometry.uuid} ${material.uuid}`;
            if (!groups.has(key))
               groups.set(key, { geometry, material, parts: [] });
            const colour = shapeColour(body.manipulator ?? 0, link, shape.material, isEnvironment);
            groups.get(key).parts.push({ body: index, place, colour });
            const own = new Sphere().copy(geometry.boundingSphere).applyMatrix4(place);
            sphere = sphere ? sphere.union(own) : own;
            this.boxes[index].union(geometry.boundingBox.clone().applyMatrix4(place));
         }
         if (body.centerOfMass) // of a body without shapes
            this.boxes[index].setFromPoints([ORIGIN, new Vector3(...body.centerOfMass)]);
         return sphere;
      });
      for (const { geometry, material, parts } of groups.values())
         this.#batches.push(new ShapeBatch(geometry, material, parts));
      this.#batches.forEach(batch => this.scene.add(batch));
   }

   #addFloor() {
      this.grid = roundLength(this.radius / 3);
      this.recording.bodies.forEach((body, index) => {
         for (const shape of body.shapes ?? [])
            if (shape.kind === "halfSpace")
               this.#addPlane(shape.point, shape.normal, shape.material, index, true);
      });
      if (this.#floors.length > 0)
         return;
      // Below what moves, and below what stands still, which it would cut.
      const { moving, still } = this.extent;
      const all = this.boxes.flatMap((box, body) =>
         (this.recording.places[body] < 0 && !box.isEmpty() ? cornersOf(box, this.matrices[body]) : []));
      const heights = [...moving, ...still, ...all].map(point => point.dot(this.up)).filter(Number.isFinite);
      const lowest = heights.reduce((a, b) => Math.min(a, b));
      const drop = lowest - this.centre.dot(this.up) - 0.02 * this.radius;
      this.#addPlane(this.centre.clone().addScaledVector(this.up, drop).toArray(), this.up.toArray(), "", -1, false);
   }

   #addPlane(point, normal, material, body, isSolid) {
      const floor = new Floor(floorTint(material), isSolid);
      const frame = new Group();
      frame.matrixAutoUpdate = false;
      floor.matrix.compose(new Vector3(...point),
                           new Quaternion().setFromUnitVectors(Z, new Vector3(...normal).normalize()),
                           new Vector3(1, 1, 1));
      if (body >= 0)
         frame.matrix.copy(this.matrices[body]);
      frame.add(floor);
      frame.matrixWorldNeedsUpdate = floor.matrixWorldNeedsUpdate = true;
      this.scene.add(frame);
      const level = new Vector3(...normal).transformDirection(frame.matrix).dot(this.up);
      floor.fit(this.centre, (level > 0.995 ? 14 : 5) * this.radius, this.grid);
      this.#floors.push({ floor, frame, body });
   }

   #addMarks() {
      const { recording } = this;
      const isBare = recording.bodies.map(body => (body.shapes ?? []).length === 0);
      const reach = Math.min(this.radius, 1.5 * this.extent.moment);
      this.skeleton = new Skeleton(recording.bodies, isBare, 0.14 * reach);
      this.forces = new Forces(recording, this.spheres, reach);
      this.light = new Light(this.up, this.#level(), 1.35 * Math.min(this.radius, 2 * this.extent.moment));
      this.scene.add(this.skeleton, this.forces, this.light);
   }

   // A direction along the floor from which the run is seen at its broadest.
   #level() {
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

   #addCamera(element) {
      this.camera = new PerspectiveCamera(32, 1, 0.1, 100);
      this.camera.up.copy(this.up);
      this.camera.position.copy(this.#level()).addScaledVector(this.up, ELEVATION);
      this.controls = new OrbitControls(this.camera, element);
      this.controls.enableDamping = true;
      this.controls.dampingFactor = 0.12;
      this.controls.zoomToCursor = true;
   }

   /**
    * Lets the camera see the whole run in the part of the picture that nothing covers, from `direction`, by
    * default from where it is seen at its broadest.
    */
   frameAll(size = this.size, direction = this.#level().addScaledVector(this.up, ELEVATION)) {
      this.size = size;
      const towards = direction.clone().normalize();
      const right = this.up.clone().cross(towards).normalize();
      const axes = [right, towards.clone().cross(right), towards];
      const { moving, still } = this.extent;
      const places = this.#isLed ? this.#pointsNow() : moving;
      const middle = new Box3().setFromPoints(places).getCenter(new Vector3());
      let eye;
      if (this.#isLed) {
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

   /** Looks from the front, the side or above, as the run is seen at its broadest. */
   lookFrom(side) {
      const front = this.#level().applyAxisAngle(this.up, -0.55);
      const directions = {
         front, side: front.clone().applyAxisAngle(this.up, Math.PI / 2),
         above: this.up.clone().addScaledVector(front, 1e-3),
      };
      this.frameAll(this.size, directions[side]);
   }

   /** Goes nearer by a factor below one, or away. */
   zoom(factor) {
      const { target } = this.controls;
      this.camera.position.sub(target).multiplyScalar(factor).add(target);
      this.controls.update();
   }

   // Whether the camera goes along with a run that goes far.
   get #isLed() {
      return this.extent.roams && this.followed >= 0;
   }

   // The corners of what moves, where it is now.
   #pointsNow() {
      const points = this.boxes.flatMap((box, body) =>
         (this.recording.places[body] >= 0 ? cornersOf(box, this.matrices[body]) : []));
      return points.filter(point => Number.isFinite(point.lengthSq()));
   }

   // Of pixels at the middle of what is looked at.
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

   /** Shows the moment `time`. */
   show(time) {
      const moment = this.recording.between(time);
      this.#place(moment);
      this.frame = moment.frame + (moment.part > 0.5 ? 1 : 0);
      this.refresh();
   }

   #place(moment) {
      for (let body = 0; body < this.matrices.length; ++body)
         if (this.recording.places[body] >= 0 && this.recording.pose(body, moment, this.#pose))
            matrixOf(this.#pose, this.matrices[body]);
   }

   /** Draws the bodies and marks anew where they are. */
   refresh() {
      this.#batches.forEach(batch => batch.follow(this.matrices));
      for (const { frame, body } of this.#floors)
         if (body >= 0) {
            frame.matrix.copy(this.matrices[body]);
            frame.matrixWorldNeedsUpdate = true;
         }
      this.skeleton.follow(this.matrices);
      this.forces.show(this.frame, this.matrices);
      this.#keepWith();
      this.#aimSun();
   }

   #keepWith() {
      if (this.followed < 0 || !this.controls)
         return;
      const now = new Vector3().setFromMatrixPosition(this.matrices[this.followed]);
      const way = now.clone().sub(this.lastPlace);
      this.camera.position.add(way);
      this.controls.target.add(way);
      this.lastPlace = now;
   }

   #aimSun() {
      const target = this.centre.clone();
      if (this.#isLed) {
         new Box3().setFromPoints(this.#pointsNow()).getCenter(target);
         for (const { floor } of this.#floors)
            floor.fit(target, floor.uniforms.reach.value, this.grid);
      }
      this.light.aim(target);
   }

   /** Lets the camera go along with a body; with none for -1. */
   follow(body) {
      this.followed = body;
      if (body >= 0)
         this.lastPlace = new Vector3().setFromMatrixPosition(this.matrices[body]);
   }

   /** The body and place under a point of the picture, from -1 to 1 to the right and up. */
   pick(x, y) {
      const ray = new Raycaster();
      ray.setFromCamera(new Vector2(x, y), this.camera);
      const hit = ray.intersectObjects(this.#batches, false)[0];
      return hit ? hit.object.parts[hit.instanceId].body : this.#pickBare(ray);
   }

   // Bodies without shapes are found near their origins.
   #pickBare({ ray }) {
      let best = -1;
      let nearest = Infinity;
      this.skeleton.isBare.forEach((isBare, body) => {
         const place = new Vector3().setFromMatrixPosition(this.matrices[body]);
         const along = place.clone().sub(ray.origin).dot(ray.direction);
         if (isBare && ray.distanceToPoint(place) < 0.4 * this.skeleton.size && along < nearest) {
            best = body;
            nearest = along;
         }
      });
      return best;
   }

   highlight(body) {
      if (body === this.#lit)
         return false;
      this.#lit = body;
      this.#batches.forEach(batch => batch.highlight(body));
      return true;
   }

   /** Where the middle of a body is in the picture, from -1 to 1; z above 1 is behind the camera. */
   project(body, place) {
      const sphere = this.spheres[body];
      if (sphere)
         return place.copy(sphere.center).applyMatrix4(this.matrices[body]).project(this.camera);
      return place.setFromMatrixPosition(this.matrices[body]).project(this.camera);
   }

   look(isTransparent, isWireframe) {
      this.#surfaces.show(isTransparent, isWireframe);
      this.#batches.forEach(batch => (batch.castShadow = !isTransparent && !isWireframe));
   }

   dress(name) {
      const theme = THEMES[name];
      this.light.dress(theme);
      this.#floors.forEach(({ floor }) => floor.dress(theme));
      this.forces.arrows.dress(name === "dark");
   }

   /** Where a body is drawn: x, y, z, w, x, y, z. */
   poseOf(body) {
      const place = new Vector3();
      const turn = new Quaternion();
      this.matrices[body].decompose(place, turn, new Vector3());
      return [place.x, place.y, place.z, turn.w, turn.x, turn.y, turn.z];
   }

   /** Where the grounds are drawn, each with a point of it and its normal, in the axes of the system. */
   groundPlanes() {
      return this.#floors.map(({ floor }) => {
         const { elements } = floor.matrixWorld;
         return { point: elements.slice(12, 15), normal: elements.slice(8, 11) };
      });
   }

   /** Draws a picture of so many pixels. */
   draw(renderer, pixels) {
      this.light.refine(pixels);
      const distance = this.camera.position.distanceTo(this.controls.target);
      this.camera.near = Math.max(distance, 0.2 * this.radius) / 150;
      this.camera.far = 40 * this.radius + 4 * distance;
      this.camera.updateProjectionMatrix();
      renderer.render(this.scene, this.camera);
   }

   dispose() {
      this.controls.dispose();
      this.#batches.forEach(batch => batch.dispose());
      this.#floors.forEach(({ floor }) => floor.dispose());
      this.skeleton.dispose();
      this.forces.dispose();
      this.light.dispose();
      this.#geometries.dispose();
      this.#surfaces.dispose();
   }
}
