// Colours and materials.
import { Color, MeshStandardMaterial } from "three";

const PALETTE = ["#3d7cc9", "#e58a3c", "#3f9f78", "#b7588f", "#7f6bc4", "#c9a12b", "#2f9fb0", "#c4574c"];
const ENVIRONMENT = "#b4b8bd";

// What the name of a material says of its look: a tint, how much of it, and how the surface shines.
const MATERIALS = [
   [/rubber|tyre|tire|skin/i, "#33363b", 0.7, 0.9, 0],
   [/wood|oak|pine|beech|birch|timber|ply/i, "#c39a6b", 0.75, 0.75, 0],
   [/alumin|brushed/i, "#d3d8de", 0.75, 0.4, 0.3],
   [/steel|iron|metal|chrom|titan/i, "#b4bcc5", 0.75, 0.36, 0.35],
   [/brass|bronze|gold/i, "#c9a255", 0.8, 0.35, 0.35],
   [/copper/i, "#c07a4f", 0.8, 0.36, 0.35],
   [/concrete|stone|cement|asphalt|rock|brick/i, "#9a9893", 0.8, 0.95, 0],
   [/ice|snow/i, "#c4e4f2", 0.85, 0.12, 0],
   [/glass/i, "#cfe6e4", 0.7, 0.08, 0],
   [/carpet|felt|cloth|foam/i, "#7d8aa0", 0.6, 1, 0],
   [/grass|soil|earth/i, "#8a9a62", 0.7, 1, 0],
   [/sand/i, "#d6c08e", 0.8, 1, 0],
   [/teflon|nylon|plastic|abs|pom/i, "#f0efe9", 0.3, 0.5, 0],
];
const PLAIN = [null, "#000000", 0, 0.55, 0.05];

const materialOf = name => MATERIALS.find(([pattern]) => pattern.test(name ?? "")) ?? PLAIN;

/** The colour of a manipulator. */
export const paletteColour = index => new Color(PALETTE[index % PALETTE.length]);

/** The colour of a shape of material `name`; links of one manipulator differ a little. */
export function shapeColour(manipulator, link, name, isEnvironment) {
   const [, tint, share] = materialOf(name);
   const colour = isEnvironment ? new Color(ENVIRONMENT) : paletteColour(manipulator);
   if (!isEnvironment)
      colour.offsetHSL(0, 0, [0, 0.09, -0.06][link % 3]);
   // A link stays known by its manipulator's colour, whatever it is made of.
   return colour.lerp(new Color(tint), isEnvironment ? share : 0.6 * share);
}

/** The surfaces of shapes, one material for each roughness and metalness. */
export class Surfaces {
   #materials = new Map();

   of(name) {
      const [, , , roughness, metalness] = materialOf(name);
      const key = `${roughness} ${metalness}`;
      let material = this.#materials.get(key);
      if (!material) {
         material = new MeshStandardMaterial({ roughness, metalness });
         this.#materials.set(key, material);
      }
      return material;
   }

   show(isTransparent, isWireframe) {
      for (const material of this.#materials.values()) {
         material.transparent = isTransparent;
         material.opacity = isTransparent ? 0.35 : 1;
         material.depthWrite = !isTransparent;
         material.wireframe = isWireframe;
         material.needsUpdate = true;
      }
   }

   dispose() {
      for (const material of this.#materials.values())
         material.dispose();
      this.#materials.clear();
   }
}

export const floorTint = name => {
   const [pattern, tint] = materialOf(name);
   return pattern ? new Color(tint) : undefined;
};

export const THEMES = {
   light: {
      sky: "#ffffff", ground: "#c9c4bb", hemisphere: 2.7, sun: 2.0, glow: 0.7,
      floor: "#eceef0", line: "#7d8894", lineOpacity: 0.45, tintShare: 0.35,
   },
   dark: {
      sky: "#b8c7dc", ground: "#737a84", hemisphere: 2.1, sun: 2.0, glow: 0.6,
      floor: "#2a3038", line: "#8fa0b3", lineOpacity: 0.3, tintShare: 0.1,
   },
};
