// Joint values and energies beside the picture.
import { paletteColour } from "./look.js";
import { Chart } from "./chart.js";

const ROW = 40; // pixels, as in the style

export function make(tag, className, text) {
   const element = document.createElement(tag);
   if (className)
      element.className = className;
   if (text !== undefined)
      element.textContent = text; // names are text, whatever is in them
   return element;
}

/** A number with a minus that is as wide as a digit, and no minus before zero. */
export function decimal(value, digits) {
   return value.toFixed(digits).replace(/^-(0(?:\.0*)?)$/, "$1").replace("-", "−");
}

export function lengthText(metres) {
   const size = Math.abs(metres);
   return size < 1e-3 ? `${+(metres * 1e6).toPrecision(3)} µm`
        : size < 1 ? `${+(metres * 1e3).toPrecision(3)} mm` : `${+metres.toPrecision(3)} m`;
}

class Joint {
   constructor(joint, index, recording) {
      this.index = index;
      this.isAngle = joint.unit === "rad";
      const bounded = Number.isFinite(joint.lower) && Number.isFinite(joint.upper) &&
                      joint.upper > joint.lower;
      [this.lower, this.upper] = bounded ? [joint.lower, joint.upper] : reachOf(index, recording);
      this.inMillimetres = Math.max(Math.abs(this.lower), Math.abs(this.upper)) < 1;

      this.element = make("li", "joint");
      const pair = make("div", "pair");
      const name = make("span", "name", joint.name);
      name.title = joint.name;
      this.value = make("span", "value");
      pair.append(name, this.value);
      const bar = make("div", bounded ? "bar" : "bar free");
      bar.title = bounded ? `${this.text(joint.lower)} to ${this.text(joint.upper)}` : "no limits";
      this.mark = make("i");
      const manipulator = recording.bodies[joint.body]?.manipulator ?? 0;
      this.mark.style.background = `#${paletteColour(manipulator).getHexString()}`;
      bar.append(this.mark);
      this.element.append(pair, bar);
   }

   text(value) {
      if (!Number.isFinite(value))
         return "–";
      return this.isAngle ? `${decimal((value * 180) / Math.PI, 1)}°`
           : this.inMillimetres ? `${decimal(1000 * value, 1)} mm` : `${decimal(value, 3)} m`;
   }

   show(value) {
      this.value.textContent = this.text(value);
      const part = (value - this.lower) / (this.upper - this.lower);
      this.mark.style.left = `${100 * Math.min(Math.max(Number.isFinite(part) ? part : 0.5, 0), 1)}%`;
   }
}

// The values that a joint without limits takes.
function reachOf(index, { values, joints, frames }) {
   let lower = Infinity;
   let upper = -Infinity;
   for (let frame = 0; frame < frames; ++frame) {
      const value = values[frame * joints.length + index];
      if (value < lower)
         lower = value;
      if (value > upper)
         upper = value;
   }
   return lower <= upper ? [lower, upper] : [0, 0];
}

export class Panel {
   /** Fills `element`; `seek(time)` is called where the chart is clicked. */
   constructor(element, recording, seek) {
      this.element = element;
      this.recording = recording;
      const hasChart = recording.energyNames.length > 0 && recording.frames > 1;
      this.isEmpty = recording.joints.length === 0 && !hasChart;
      if (hasChart) {
         this.chart = new Chart(recording, seek);
         element.append(make("h3", "", `Energy since the start, ${this.chart.unit.name}`), this.chart.element);
      }
      if (recording.joints.length > 0) {
         this.list = make("ul");
         this.joints = recording.joints.map((joint, i) => new Joint(joint, i, recording));
         this.list.append(...this.joints.map(joint => joint.element));
         element.append(make("h3", "", "Joints"), this.list);
         element.addEventListener("scroll", () => this.show(this.moment), { passive: true });
      }
   }

   /** Shows the values of a moment; of many joints only those in view. */
   show(moment) {
      this.moment = moment;
      if (this.element.hidden || !moment)
         return;
      this.chart?.show(moment);
      if (!this.joints)
         return;
      const from = Math.max(0, Math.floor((this.element.scrollTop - this.list.offsetTop) / ROW));
      const to = Math.ceil((this.element.scrollTop + this.element.clientHeight - this.list.offsetTop) / ROW);
      for (const joint of this.joints.slice(from, Math.max(to, from)))
         joint.show(this.recording.value(joint.index, moment));
   }
}
