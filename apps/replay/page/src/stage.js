// The scene of a recording in space.
import { Box3, Group, Quaternion, Raycaster, Scene, Sphere, Vector2, Vector3 } from "three";
import { ShapeBatch } from "./batch.js";
import { cornersOf, extentOf, radiusOf } from "./extent.js";
import { Floor, roundLength } from "./floor.js";
import { Forces } from "./forces.js";
import { GeometryStore, matrixOf } from "./geometry.js";
import { Light } from "./light.js";
import { floorTint, shapeColour, Surfaces, THEMES } from "./look.js";
import { Skeleton } from "./skeleton.js";
import { View } from "./view.js";

const Z = new Vector3(0, 0, 1);
const ORIGIN = new Vector3();

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
      this.view = new View(this.up, this.extent, element);
      this.#addFloor();
      this.#addMarks();
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
      this.light = new Light(this.up, this.view.level(), 1.35 * Math.min(this.radius, 2 * this.extent.moment));
      this.scene.add(this.skeleton, this.forces, this.light);
   }

   get camera() {
      return this.view.camera;
   }

   get controls() {
      return this.view.controls;
   }

   /** Lets the camera see the whole run, or what moves now where it goes along, from a side of `View`. */
   frameAll(size = this.view.size, side = "usual") {
      this.view.frame(size, this.#isLed ? this.#pointsNow() : undefined, side);
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
      if (this.followed < 0)
         return;
      const now = new Vector3().setFromMatrixPosition(this.matrices[this.followed]);
      this.view.moveBy(now.clone().sub(this.lastPlace));
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
      this.view.reachAll();
      renderer.render(this.scene, this.camera);
   }

   dispose() {
      this.view.controls.dispose();
      this.#batches.forEach(batch => batch.dispose());
      this.#floors.forEach(({ floor }) => floor.dispose());
      this.skeleton.dispose();
      this.forces.dispose();
      this.light.dispose();
      this.#geometries.dispose();
      this.#surfaces.dispose();
   }
}
