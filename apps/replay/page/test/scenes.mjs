// Scenes for the tests of the page: what a run would have left.
import { readFileSync } from "node:fs";

const base64 = numbers => Buffer.from(numbers.buffer).toString("base64");

/** A page of the template at `path` with `scenes`. */
export function pageOf(path, ...scenes) {
   const text = scene => JSON.stringify(scene).replace(/[<>&\u2028\u2029]/g,
      c => `\\u${c.charCodeAt(0).toString(16).padStart(4, "0")}`);
   return readFileSync(path, "utf8").replace("<!--scenes-->", () => scenes.map(scene =>
      `<script type="application/json" class="zq-scene">${text(scene)}</script>`).join("\n"));
}

/**
 * A scene of `bodies`, each with `move(t)` -> pose if it moves; `joints` with `value(t)`;
 * `contacts(t)` -> rows of eight numbers.
 */
export function sceneOf({ title = "scene", up = [0, 0, 1], bodies = [], joints = [], times = [], contacts, energies }) {
   const moving = bodies.filter(body => body.move);
   const rows = times.map(t => contacts?.(t) ?? []);
   const starts = [0];
   rows.forEach(row => starts.push(starts.at(-1) + row.length));
   const scene = {
      format: 1, title, up,
      bodies: bodies.map(({ move, name = "body", manipulator = 0, parent = null, pose, shapes = [] }) =>
         ({ name, manipulator, parent, shapes, ...(move ? {} : { pose: pose ?? [0, 0, 0, 1, 0, 0, 0] }) })),
      joints: joints.map(({ value, ...joint }) => joint),
      times: base64(Float64Array.from(times)),
      poses: base64(Float64Array.from(times.flatMap(t => moving.flatMap(body => body.move(t))))),
      values: base64(Float32Array.from(times.flatMap(t => joints.map(joint => joint.value(t))))),
      contacts: { starts: base64(Uint32Array.from(starts)), rows: base64(Float32Array.from(rows.flat(2))) },
   };
   if (energies)
      scene.energies = { names: Object.keys(energies),
         rows: base64(Float32Array.from(times.flatMap(t => Object.values(energies).map(value => value(t))))) };
   return scene;
}

export const timesUpTo = (end, step) => Array.from({ length: Math.round(end / step) + 1 }, (_, i) => i * step);

/** The quaternion w, x, y, z of a turn by `angle` about a unit axis. */
export const turned = (angle, [x, y, z]) => {
   const s = Math.sin(angle / 2);
   return [Math.cos(angle / 2), s * x, s * y, s * z];
};

const tetrahedron = flat => ({
   kind: "mesh", name: "tetrahedron", material: "", flat,
   positions: base64(Float32Array.of(0.12, 0.12, 0.12, -0.12, -0.12, 0.12, -0.12, 0.12, -0.12, 0.12, -0.12, -0.12)),
   indices: base64(Uint32Array.of(0, 2, 1, 0, 1, 3, 0, 3, 2, 1, 2, 3)),
});

export const ground = material => ({
   name: "world/ground", manipulator: 9,
   shapes: [{ kind: "halfSpace", name: "ground", material, point: [0, 0, 0], normal: [0, 0, 1] }],
});

/** Each kind of shape, hopping on the ground. */
export function kinds({ title = "Each kind of shape", names = [], withBodies = true } = {}) {
   const shapes = [
      { kind: "sphere", center: [0, 0, 0], radius: 0.12, material: "rubber" },
      { kind: "capsule", from: [0, 0, -0.08], to: [0, 0, 0.08], radius: 0.06, material: "" },
      { kind: "cylinder", from: [0, -0.1, 0], to: [0, 0.1, 0], radius: 0.08, material: "steel" },
      { kind: "box", frame: [0, 0, 0, 1, 0, 0, 0], halfExtents: [0.1, 0.08, 0.12], material: "wood" },
      tetrahedron(true), tetrahedron(false),
   ];
   const height = (t, i) => 0.16 + 0.3 * Math.abs(Math.sin(2.2 * t + 0.7 * i));
   const place = i => [0.45 * ((i % 3) - 1), 0.45 * (Math.floor(i / 3) - 0.5)];
   return sceneOf({
      title, times: timesUpTo(4, 0.02),
      bodies: [ground("concrete"), ...(withBodies ? shapes : []).map((shape, i) => ({
         name: names[i] ?? `toys/${shape.name ?? shape.kind}`, manipulator: i, shapes: [{ name: "shape", ...shape }],
         move: t => [...place(i), height(t, i), ...turned(t + i, [0.6, 0, 0.8])],
      }))],
      contacts: t => (withBodies ? shapes : []).flatMap((_, i) => height(t, i) > 0.2 ? [] :
         [[...place(i), 0, 2 * Math.sin(t), 1, 20 + 10 * Math.sin(3 * t + i), 0, i + 1]]),
   });
}

/** An arm of `links` links that swings, with shapes or without. */
export function arm({ title = "arm.xml", links = 6, hasShapes = true, standing = true } = {}) {
   const length = 0.32;
   const angle = (t, i) => 0.5 * Math.sin(0.9 * t + 0.8 * i) + (i === 0 ? 0.25 : 0.22);
   const pose = (t, link) => {
      let [x, z, total] = [0, 0.3, 0];
      for (let i = 0; i <= link; ++i) {
         if (i > 0) {
            x += length * Math.sin(total);
            z += length * Math.cos(total);
         }
         total += angle(t, i);
      }
      return [x, 0, z, ...turned(total, [0, 1, 0])];
   };
   return sceneOf({
      title, times: timesUpTo(8, 0.02),
      bodies: [
         { name: "arm/base", shapes: hasShapes ? [
            { kind: "cylinder", name: "foot", material: "steel", from: [0, 0, 0], to: [0, 0, 0.06], radius: 0.16 },
            { kind: "cylinder", name: "post", material: "", from: [0, 0, 0.06], to: [0, 0, 0.3], radius: 0.085 }] : [] },
         ...Array.from({ length: links }, (_, i) => ({
            name: `arm/link${i + 1}`, parent: i, move: t => pose(t, i),
            shapes: hasShapes ? [
               { kind: "capsule", name: "tube", material: i % 2 ? "" : "aluminium", from: [0, 0, 0], to: [0, 0, length], radius: 0.062 - 0.006 * i },
               { kind: "cylinder", name: "hub", material: "steel", from: [0, -0.075, 0], to: [0, 0.075, 0], radius: 0.072 - 0.006 * i },
            ] : [],
         })),
         ...(standing ? [ground("wood")] : []),
      ],
      joints: Array.from({ length: links }, (_, i) => ({
         body: i + 1, name: `arm/link${i + 1}`, unit: i === links - 1 ? "m" : "rad", lower: i === 2 ? null : -1, upper: i === 2 ? null : 1.2,
         value: t => angle(t, i) / (i === links - 1 ? 5 : 1),
      })),
      energies: {
         kinetic: t => 4 + 3.5 * Math.sin(1.8 * t), gravity: t => 11 - 3 * Math.sin(1.8 * t), "springs of joints": () => 0,
         "work of drives": t => 2.2 * t, "joint friction": t => -1.7 * t, remainder: t => 0.01 * Math.sin(20 * t),
      },
   });
}

/** `count` bodies that whirl about. */
export function crowd(count) {
   const kind = i => [
      { kind: "sphere", center: [0, 0, 0], radius: 0.05 },
      { kind: "box", frame: [0, 0, 0, 1, 0, 0, 0], halfExtents: [0.05, 0.04, 0.06], material: "wood" },
      { kind: "capsule", from: [0, 0, -0.05], to: [0, 0, 0.05], radius: 0.035 },
      { kind: "cylinder", from: [0, 0, -0.05], to: [0, 0, 0.05], radius: 0.05, material: "steel" },
   ][i % 4];
   const side = Math.ceil(Math.sqrt(count));
   return sceneOf({
      title: `${count} bodies`, times: timesUpTo(4, 0.02),
      bodies: [ground("concrete"), ...Array.from({ length: count }, (_, i) => ({
         name: `crowd/${i}`, manipulator: i, shapes: [{ name: "shape", material: "", ...kind(i) }],
         move: t => [0.2 * ((i % side) - side / 2), 0.2 * (Math.floor(i / side) - side / 2),
                     0.08 + 0.2 * (1 + Math.sin(3 * t + 0.37 * i)), ...turned(2 * t + i, [0, 0.6, 0.8])],
      }))],
   });
}
