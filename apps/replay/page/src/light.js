// Sun and sky.
import { DirectionalLight, Group, HemisphereLight } from "three";

const LARGE = 800; // pixels, from which on a picture has finer shadows

export class Light extends Group {
   /** Shadows reach out to `reach`; `level` is the way along the floor to the one who looks. */
   constructor(up, level, reach) {
      super();
      this.hemisphere = new HemisphereLight();
      this.hemisphere.position.copy(up);
      this.glow = new DirectionalLight(); // from the other side, without shadows
      this.glow.position.copy(level).applyAxisAngle(up, 1.9).addScaledVector(up, 0.5);
      this.sun = new DirectionalLight();
      this.sun.castShadow = true;
      const { shadow } = this.sun;
      Object.assign(shadow.camera, {
         left: -reach, right: reach, top: reach, bottom: -reach, near: 0.1 * reach, far: 9 * reach,
      });
      shadow.normalBias = 0.004 * reach;
      shadow.radius = 5;
      shadow.blurSamples = 16;
      // Over the shoulder of the one who looks.
      this.toSun = level.clone().applyAxisAngle(up, -0.75).multiplyScalar(0.75).add(up)
         .normalize().multiplyScalar(5 * reach);
      this.add(this.hemisphere, this.glow, this.sun, this.sun.target);
   }

   /** Lets the shadows be those about a point. */
   aim(target) {
      this.sun.target.position.copy(target);
      this.sun.position.copy(target).add(this.toSun);
   }

   /** Makes shadows as fine as a picture of so many pixels needs. */
   refine(pixels) {
      const { shadow } = this.sun;
      const size = pixels > LARGE ? 2048 : 1024;
      if (shadow.mapSize.x === size)
         return;
      shadow.mapSize.set(size, size);
      shadow.map?.dispose();
      shadow.map = null;
   }

   dress(theme) {
      this.hemisphere.color.set(theme.sky);
      this.hemisphere.groundColor.set(theme.ground);
      this.hemisphere.intensity = theme.hemisphere;
      this.sun.intensity = theme.sun;
      this.glow.intensity = theme.glow;
   }

   dispose() {
      this.sun.shadow.dispose();
   }
}
