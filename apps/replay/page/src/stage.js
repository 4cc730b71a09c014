// The scene of a recording in space: bodies, floor, light and camera.
import { Box3, DirectionalLight, Group, HemisphereLight, PerspectiveCamera, Quaternion, Raycaster, Scene, Sphere,
         Vector2, Vector3 } from "three";
import { OrbitControls } from "three/examples/jsm/controls/OrbitControls.js";
import { Arrows } from "./arrows.js";
import { ShapeBatch } from "./batch.js";
import { extentOf, radiusOf } from "./extent.js";
import { Floor, roundLength } from "./floor.js";
import { GeometryStore, matrixOf } from "./geometry.js";
import { floorTint, shapeColour, Surfaces, THEMES } from "./look.js";
import { Skeleton } from "./skeleton.js";

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
      this.forceScale = 1;
      this.showsContacts = true;

      this.#addShapes();
      this.extent = extentOf(recording, this.spheres, this.matrices, frame => this.#place({ frame, part: 0 }));
      this.radius = radiusOf(this.extent.box);
      this.centre = this.extent.box.getCenter(new Vector3());
      this.#addFloor();
      this.#addMarks();
      this.#addLight();
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
         }
         return sphere;
      });
      for (const { geometry, material, parts } of groups.values())
         this.#batches.push(new ShapeBatch(geometry, material, parts));
      this.#batches.forEach(batch => this.scene.add(batch));
   }

   #addFloor() {
      const { bodies } = this.recording;
      this.grid = roundLength(this.radius / 3);
      bodies.forEach((body, index) => {
         for (const shape of body.shapes ?? [])
            if (shape.kind === "halfSpace")
               this.#addPlane(shape.point, shape.normal, shape.material, index, true);
      });
      if (this.#floors.length === 0) {
         const { box } = this.extent;
         const low = [box.min, box.max].map(p => p.dot(this.up));
         const drop = Math.min(...low) - this.centre.dot(this.up) - 0.02 * this.radius;
         this.#addPlane(this.centre.clone().addScaledVector(this.up, drop).toArray(), this.up.toArray(), "",
                        -1, false);
      }
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
      let capacity = 0;
      for (let frame = 0; frame < recording.frames; ++frame)
         capacity = Math.max(capacity, recording.starts[frame + 1] - recording.starts[frame]);
      this.arrows = new Arrows(capacity, 0.016 * reach);
      this.newtonsPerLength = usualForce(recording) / (0.34 * reach);
      this.scene.add(this.skeleton, this.arrows);
   }

   #addLight() {
      this.hemisphere = new HemisphereLight();
      this.hemisphere.position.copy(this.up);
      this.glow = new DirectionalLight(); // from the other side, without shadows
      this.sun = new DirectionalLight();
      this.sun.castShadow = true;
      const reach = 1.35 * Math.min(this.radius, 2 * this.extent.moment);
      const { shadow } = this.sun;
      Object.assign(shadow.camera, {
         left: -reach, right: reach, top: reach, bottom: -reach, near: 0.1 * reach, far: 9 * reach,
      });
      shadow.mapSize.set(2048, 2048);
      shadow.normalBias = 0.004 * reach;
      shadow.radius = 5;
      shadow.blurSamples = 16;
      // Over the shoulder of the one who looks.
      this.toSun = this.#level().applyAxisAngle(this.up, -0.75).multiplyScalar(0.75).add(this.up)
         .normalize().multiplyScalar(5 * reach);
      this.glow.position.copy(this.#level()).applyAxisAngle(this.up, 1.9).addScaledVector(this.up, 0.5);
      this.scene.add(this.hemisphere, this.glow, this.sun, this.sun.target);
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
      this.camera.position.copy(this.#level()).addScaledVector(this.up, 0.42);
      this.controls = new OrbitControls(this.camera, element);
      this.controls.enableDamping = true;
      this.controls.dampingFactor = 0.12;
      this.controls.zoomToCursor = true;
   }

   /** Lets the camera see the whole run in the part of the picture that nothing covers. */
   frameAll(size = this.size) {
      this.size = size;
      const direction = this.#level().addScaledVector(this.up, 0.42).normalize();
      const right = this.up.clone().cross(direction).normalize();
      const above = direction.clone().cross(right);
      const tangent = Math.tan((this.camera.fov / 2) * (Math.PI / 180));
      const wide = tangent * this.camera.aspect * (1 - (size?.right ?? 0) / (size?.width || 1));
      const high = tangent * (1 - ((size?.top ?? 0) + (size?.bottom ?? 0)) / (size?.height || 1));

      // From the middle of what is seen, so far away that each ball fits.
      const target = this.centre.clone();
      for (const axis of [right, above]) {
         const reach = this.extent.balls.map(({ center, radius }) => [center.dot(axis) - radius, center.dot(axis) + radius]);
         const middle = (Math.min(...reach.map(([low]) => low)) + Math.max(...reach.map(([, top]) => top))) / 2;
         target.addScaledVector(axis, middle - target.dot(axis));
      }
      const away = new Vector3();
      let distance = 0;
      const balls = this.#isLed ? [new Sphere(target.copy(this.#middleNow()), this.extent.moment)] : this.extent.balls;
      for (const { center, radius } of balls) {
         away.copy(center).sub(target);
         distance = Math.max(distance, away.dot(direction) + radius +
            Math.max((Math.abs(away.dot(right)) + radius) / wide, (Math.abs(away.dot(above)) + radius) / high));
      }
      distance *= this.#isLed ? 1.25 : 1.12;
      this.controls.target.copy(target);
      this.camera.position.copy(target).addScaledVector(direction, distance);
      this.controls.minDistance = 0.02 * this.radius;
      this.controls.maxDistance = 40 * distance;
      this.controls.update();
   }

   // Whether the camera goes along with a run that goes far.
   get #isLed() {
      return this.extent.roams && this.followed >= 0;
   }

   // The middle of what moves, where it is now.
   #middleNow() {
      const box = new Box3();
      this.matrices.forEach((matrix, body) => {
         if (this.recording.places[body] >= 0)
            box.expandByPoint(new Vector3().copy(this.spheres[body]?.center ?? ORIGIN).applyMatrix4(matrix));
      });
      return box.getCenter(new Vector3());
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
         if (body >= 0)
            frame.matrix.copy(this.matrices[body]);
      this.skeleton.follow(this.matrices);
      this.#showContacts();
      this.#keepWith();
      this.#aimSun();
   }

   #showContacts() {
      const { recording, arrows } = this;
      const scale = this.forceScale / this.newtonsPerLength;
      arrows.clear();
      if (this.showsContacts)
         recording.eachContact(this.frame, (point, force, first, second) => {
            // Of a body that stands still and one that moves, the arrow is that of the second.
            const isOther = recording.places[second] < 0 && recording.places[first] >= 0;
            arrows.show(point, isOther ? force.map(x => -x) : force, scale);
         });
      arrows.commit();
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
         target.copy(this.#middleNow());
         for (const { floor } of this.#floors)
            floor.fit(target, floor.uniforms.reach.value, this.grid);
      }
      this.sun.target.position.copy(target);
      this.sun.position.copy(target).add(this.toSun);
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
      this.hemisphere.color.set(theme.sky);
      this.hemisphere.groundColor.set(theme.ground);
      this.hemisphere.intensity = theme.hemisphere;
      this.sun.intensity = theme.sun;
      this.glow.intensity = theme.glow;
      this.#floors.forEach(({ floor }) => floor.dress(theme));
      this.arrows.dress(name === "dark");
   }

   /** Where a body is drawn: x, y, z, w, x, y, z. */
   poseOf(body) {
      const place = new Vector3();
      const turn = new Quaternion();
      this.matrices[body].decompose(place, turn, new Vector3());
      return [place.x, place.y, place.z, turn.w, turn.x, turn.y, turn.z];
   }

   draw(renderer) {
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
      this.arrows.dispose();
      this.sun.shadow.dispose();
      this.#geometries.dispose();
      this.#surfaces.dispose();
   }
}

// A force that few contacts exceed: a blow does not shrink all other arrows.
function usualForce(recording) {
   const forces = [];
   const rows = recording.contacts.length / 8;
   const stride = Math.max(1, Math.floor(rows / 5000));
   for (let row = 0; row < rows; row += stride) {
      const force = Math.hypot(...recording.contacts.subarray(8 * row + 3, 8 * row + 6));
      if (force > 0 && Number.isFinite(force))
         forces.push(force);
   }
   forces.sort((a, b) => a - b);
   return forces[Math.floor(0.9 * forces.length)] || 1;
}
