// What a run left: its bodies and joints, and what they did over time.
// Lengths in m, angles in rad; poses are x, y, z, then the quaternion w, x, y, z, in the axes of the
// system.

function bytesOf(base64) {
   const text = atob(base64);
   const bytes = new Uint8Array(text.length);
   for (let i = 0; i < text.length; ++i)
      bytes[i] = text.charCodeAt(i);
   return bytes;
}

/** The numbers behind `base64`, of which there have to be `count` if that is given. */
export function numbersOf(base64, Type, what, count) {
   const bytes = bytesOf(base64 ?? "");
   if (bytes.length % Type.BYTES_PER_ELEMENT !== 0)
      throw new Error(`${what}: ${bytes.length} bytes are no whole count of numbers`);
   const numbers = new Type(bytes.buffer);
   if (count !== undefined && numbers.length !== count)
      throw new Error(`${what}: ${count} numbers are needed, ${numbers.length} are there`);
   return numbers;
}

const AT_REST = Float64Array.of(0, 0, 0, 1, 0, 0, 0);

export class Recording {
   constructor(data) {
      if (data.format !== 1)
         throw new Error(`format ${data.format} is not known to this page`);
      this.title = String(data.title ?? "");
      this.up = unit(data.up) ?? [0, 0, 1];
      this.bodies = data.bodies ?? [];
      this.joints = data.joints ?? [];
      this.times = numbersOf(data.times, Float64Array, "times");
      const frames = this.times.length;

      // Where the pose of each body stands in a frame; -1 for one that never moves.
      let moving = 0;
      this.places = this.bodies.map(body => (body.pose ? -1 : moving++));
      this.moving = moving;
      this.poses = numbersOf(data.poses, Float64Array, "poses", frames * moving * 7);
      this.values = numbersOf(data.values, Float32Array, "values", frames * this.joints.length);

      const starts = data.contacts?.starts;
      this.starts = starts ? numbersOf(starts, Uint32Array, "contacts", frames + 1)
                           : new Uint32Array(frames + 1);
      this.contacts = numbersOf(data.contacts?.rows, Float32Array, "contacts",
                                8 * this.starts[frames]);

      this.energyNames = data.energies?.names ?? [];
      this.energies = numbersOf(data.energies?.rows, Float32Array, "energies",
                                frames * this.energyNames.length);
      if (data.energies?.remainder)
         this.#addEnergy("left to the integrator",
                         numbersOf(data.energies.remainder, Float32Array, "remainder", frames));
   }

   #addEnergy(name, column) {
      const width = this.energyNames.length;
      const wider = new Float32Array((width + 1) * this.frames);
      for (let frame = 0; frame < this.frames; ++frame) {
         wider.set(this.energies.subarray(frame * width, (frame + 1) * width), frame * (width + 1));
         wider[frame * (width + 1) + width] = column[frame];
      }
      this.energies = wider;
      this.energyNames = [...this.energyNames, name];
   }

   get frames() {
      return this.times.length;
   }

   get begin() {
      return this.frames > 0 ? this.times[0] : 0;
   }

   get end() {
      return this.frames > 0 ? this.times[this.frames - 1] : 0;
   }

   /** The last frame that is not after `time`; the first one before all. */
   frameAt(time) {
      let low = 0;
      let high = this.frames;
      while (high - low > 1) {
         const middle = (low + high) >> 1;
         if (this.times[middle] <= time)
            low = middle;
         else
            high = middle;
      }
      return low;
   }

   /** The frame before `time` and how far, from 0 to 1, the next one is reached. */
   between(time) {
      const frame = this.frameAt(time);
      if (frame + 1 >= this.frames)
         return { frame, part: 0 };
      const part = (time - this.times[frame]) / (this.times[frame + 1] - this.times[frame]);
      return { frame, part: part > 0 ? Math.min(part, 1) : 0 };
   }

   /** Writes the pose of a body at a frame; false where it is not finite. */
   poseAtFrame(body, frame, pose) {
      const place = this.places[body];
      if (place < 0 || this.frames === 0) {
         const at = this.bodies[body].pose ?? AT_REST;
         for (let i = 0; i < 7; ++i)
            pose[i] = at[i];
      } else {
         const start = (frame * this.moving + place) * 7;
         for (let i = 0; i < 7; ++i)
            pose[i] = this.poses[start + i];
      }
      return pose.every(Number.isFinite);
   }

   /** The pose between two frames: straight in place, the short way round in attitude. */
   pose(body, { frame, part }, pose) {
      const finite = this.poseAtFrame(body, frame, pose);
      if (part === 0 || this.places[body] < 0 || !finite)
         return finite;
      if (!this.poseAtFrame(body, frame + 1, next))
         return this.poseAtFrame(body, frame, pose);
      for (let i = 0; i < 3; ++i)
         pose[i] += part * (next[i] - pose[i]);
      turnTowards(pose, next, part);
      return true;
   }

   /** Tells `visit(point, force, first, second)` the contact points of a frame. */
   eachContact(frame, visit) {
      if (this.frames === 0)
         return;
      for (let row = this.starts[frame]; row < this.starts[frame + 1]; ++row) {
         const numbers = this.contacts.subarray(8 * row, 8 * row + 8);
         if (numbers.every(Number.isFinite))
            visit(numbers.subarray(0, 3), numbers.subarray(3, 6), numbers[6], numbers[7]);
      }
   }

   value(joint, { frame, part }) {
      return mixed(this.values, this.joints.length, joint, frame, part);
   }

   energy(index, { frame, part }) {
      return mixed(this.energies, this.energyNames.length, index, frame, part);
   }
}

const next = new Float64Array(7);

function mixed(rows, width, column, frame, part) {
   const value = rows[frame * width + column] ?? NaN;
   return part === 0 ? value : value + part * (rows[(frame + 1) * width + column] - value);
}

function turnTowards(pose, other, part) {
   let cosine = 0;
   for (let i = 3; i < 7; ++i)
      cosine += pose[i] * other[i];
   const sign = cosine < 0 ? -1 : 1;
   const angle = Math.acos(Math.min(1, Math.abs(cosine)));
   const sine = Math.sin(angle);
   const near = sine < 1e-6;
   const ours = near ? 1 - part : Math.sin((1 - part) * angle) / sine;
   const theirs = sign * (near ? part : Math.sin(part * angle) / sine);
   let square = 0;
   for (let i = 3; i < 7; ++i) {
      pose[i] = ours * pose[i] + theirs * other[i];
      square += pose[i] * pose[i];
   }
   for (let i = 3; i < 7; ++i)
      pose[i] /= Math.sqrt(square);
}

function unit(vector) {
   const length = Math.hypot(...(vector ?? []));
   return length > 0 && Number.isFinite(length) ? vector.map(x => x / length) : undefined;
}
