// A plane with a grid that fades into the distance.
import { CircleGeometry, Color, Mesh, MeshLambertMaterial, Vector2, Vector3 } from "three";

const DECLARATIONS = /* glsl */ `
   varying vec2 vPlace;
   uniform vec2 middle;
   uniform float spacing, reach, lineOpacity, fill;
   uniform vec3 lineColour;
   // How much of a pixel is line: one of constant width on the screen, gone where lines would crowd.
   float gridOf(vec2 place, float step) {
      vec2 cell = place / step;
      vec2 width = fwidth(cell);
      vec2 away = abs(fract(cell - 0.5) - 0.5) / max(width, 1e-9);
      vec2 line = (1.0 - min(away, 1.0)) * (1.0 - smoothstep(0.15, 0.5, width));
      return max(line.x, line.y);
   }`;

const DRAWING = /* glsl */ `
   float lines = max(0.55 * gridOf(vPlace, spacing), gridOf(vPlace, 5.0 * spacing));
   float fade = 1.0 - smoothstep(0.15, 1.0, length(vPlace - middle) / reach);
   float ruled = lines * lineOpacity;
   float cover = ruled + fill * (1.0 - ruled); // lines over the fill
   diffuseColor.a *= fade * cover;
   #include <lights_lambert_fragment>`;

const LINES = /* glsl */ `
   outgoingLight = mix(outgoingLight, lineColour, ruled / max(cover, 1e-6));
   #include <opaque_fragment>`;

/** 1, 2 or 5 times a power of ten, not above `length`. */
export function roundLength(length) {
   const power = 10 ** Math.floor(Math.log10(length));
   const rest = length / power;
   return power * (rest >= 5 ? 5 : rest >= 2 ? 2 : 1);
}

export class Floor extends Mesh {
   constructor(tint, isSolid) {
      const material = new MeshLambertMaterial({ transparent: true });
      super(new CircleGeometry(1, 64), material);
      this.tint = tint;
      this.uniforms = {
         middle: { value: new Vector2() },
         spacing: { value: 1 },
         reach: { value: 1 },
         lineOpacity: { value: 0.5 },
         fill: { value: isSolid ? 1 : 0.25 },
         lineColour: { value: new Color() },
      };
      material.onBeforeCompile = shader => {
         Object.assign(shader.uniforms, this.uniforms);
         shader.vertexShader = shader.vertexShader
            .replace("void main() {", "varying vec2 vPlace;\nuniform float reach;\nuniform vec2 middle;\nvoid main() {")
            .replace("#include <begin_vertex>",
                     "vPlace = middle + position.xy * reach;\nvec3 transformed = vec3(vPlace, 0.0);");
         shader.fragmentShader = shader.fragmentShader
            .replace("void main() {", `${DECLARATIONS}\nvoid main() {`)
            .replace("#include <lights_lambert_fragment>", DRAWING)
            .replace("#include <opaque_fragment>", LINES);
      };
      material.polygonOffset = true; // what lies flat on the ground is seen
      material.polygonOffsetFactor = 1;
      material.polygonOffsetUnits = 1;
      this.receiveShadow = true;
      this.frustumCulled = false;
      this.matrixAutoUpdate = false;
      this.renderOrder = -1;
   }

   /** Shows the part about `centre`, a point in space, out to `reach`. */
   fit(centre, reach, spacing) {
      this.updateWorldMatrix(true, false);
      const place = this.worldToLocal(new Vector3().copy(centre));
      this.uniforms.middle.value.set(place.x, place.y);
      this.uniforms.reach.value = reach;
      this.uniforms.spacing.value = spacing;
   }

   dress(theme) {
      this.material.color.set(theme.floor);
      if (this.tint)
         this.material.color.lerp(this.tint, theme.tintShare);
      this.uniforms.lineColour.value.set(theme.line);
      this.uniforms.lineOpacity.value = theme.lineOpacity;
   }

   dispose() {
      this.geometry.dispose();
      this.material.dispose();
   }
}
