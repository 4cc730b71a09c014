// How energies changed since the start, over time, with a cursor.
import { roundLength } from "./floor.js";
import { make } from "./panel.js";

const COLOURS = ["#3d7cc9", "#e0803a", "#3f9f78", "#b7588f", "#7f6bc4", "#c9a12b", "#2f9fb0", "#c4574c"];
const COLUMNS = 300;
const SMALL = 5e-3; // of the greatest, below which a line is not drawn at first

function joules(value, unit) {
   return Number.isFinite(value) ? (value / unit.size).toFixed(unit.digits).replace("-", "−") : "–";
}

// One unit and as many digits for all, so that numbers can be compared.
function unitFor(greatest) {
   const [size, name] = [[1e6, "MJ"], [1e3, "kJ"], [1, "J"], [1e-3, "mJ"], [1e-6, "µJ"]]
      .find(([least]) => greatest >= least) ?? [1e-6, "µJ"];
   const digits = Math.max(0, 3 - Math.floor(Math.log10(Math.max(greatest, 1e-9) / size)));
   return { size, name, digits: Math.min(digits, 3) };
}

function svg(tag, attributes) {
   const element = document.createElementNS("http://www.w3.org/2000/svg", tag);
   for (const [name, value] of Object.entries(attributes))
      element.setAttribute(name, value);
   return element;
}

export class Chart {
   constructor(recording, seek) {
      this.recording = recording;
      this.series = recording.energyNames.map((name, index) => {
         const column = recording.energies.filter((_, i) => i % recording.energyNames.length === index);
         const values = column.map(value => value - column[0]);
         const greatest = values.reduce((most, x) => (Math.abs(x) > most ? Math.abs(x) : most), 0);
         return { name, index, values, greatest };
      });
      const most = Math.max(...this.series.map(({ greatest }) => greatest));
      this.unit = unitFor(most);
      let drawn = 0;
      for (const one of this.series) {
         one.isShown = one.greatest > SMALL * most;
         one.colour = one.isShown ? COLOURS[drawn++ % COLOURS.length] : "var(--soft)";
         one.isDashed = drawn > COLOURS.length;
      }

      this.element = make("div");
      this.plot = make("div", "chart");
      this.picture = svg("svg", { viewBox: "0 0 100 100", preserveAspectRatio: "none", "aria-hidden": "true" });
      this.highest = make("span", "bound");
      this.middle = make("span", "bound");
      this.lowest = make("span", "bound");
      this.plot.append(this.picture, this.highest, this.middle, this.lowest);
      this.element.append(this.plot, this.#legend());
      this.#draw();

      const pick = event => {
         if (event.buttons !== 1)
            return;
         const { left, width } = this.picture.getBoundingClientRect();
         const part = Math.min(Math.max((event.clientX - left) / width, 0), 1);
         seek(recording.begin + part * (recording.end - recording.begin));
      };
      this.plot.addEventListener("pointerdown", pick);
      this.plot.addEventListener("pointermove", pick);
   }

   #legend() {
      const list = make("ul", "legend");
      for (const one of this.series) {
         const label = make("label", one.isShown ? "" : "still");
         const box = make("input");
         box.type = "checkbox";
         box.checked = one.isShown;
         box.style.setProperty("--colour", one.colour);
         box.addEventListener("change", () => {
            one.isShown = box.checked;
            this.#draw();
            this.show(this.moment);
         });
         one.value = make("span", "value");
         label.append(box, make("span", "name", one.name), one.value);
         const item = make("li");
         item.append(label);
         list.append(item);
      }
      return list;
   }

   #draw() {
      const shown = this.series.filter(({ isShown }) => isShown);
      let low = 0;
      let high = 0;
      for (const { values } of shown)
         for (const value of values) {
            low = value < low ? value : low;
            high = value > high ? value : high;
         }
      // To round numbers, so that the bounds can be read.
      const step = roundLength((high - low) / 8 || this.unit.size);
      low = step * Math.floor(low / step + 1e-9);
      high = step * Math.ceil(high / step - 1e-9);
      const range = high - low || 1;
      const y = value => 96 - (92 * (value - low)) / range;
      this.picture.replaceChildren(svg("line", { x1: 0, x2: 100, y1: y(0), y2: y(0) }),
         ...shown.map(one => svg("path", {
            d: this.#path(one.values, y), stroke: one.colour, "stroke-dasharray": one.isDashed ? "4 3" : "none",
         })));
      this.cursor = svg("line", { class: "cursor", y1: 0, y2: 100 });
      this.picture.append(this.cursor);
      for (const [label, value] of [[this.highest, high], [this.middle, 0], [this.lowest, low]]) {
         const isAxisTwice = label !== this.middle && value === 0;
         const text = `${+(value / this.unit.size).toPrecision(3)}`.replace("-", "−");
         label.textContent = isAxisTwice ? "" : text;
         label.style.top = `${y(value)}%`;
      }
      this.middle.hidden = Math.min(Math.abs(y(0) - 4), Math.abs(y(0) - 96)) < 10 && high > 0 && low < 0;
   }

   // Of many frames the least and the greatest in each column.
   #path(values, y) {
      const { times, begin, end } = this.recording;
      const stride = Math.max(1, Math.floor(values.length / COLUMNS));
      const x = frame => (100 * (times[frame] - begin)) / (end - begin || 1);
      let path = "";
      const point = (at, value) => {
         if (Number.isFinite(value))
            path += `${path ? "L" : "M"}${at.toFixed(2)} ${y(value).toFixed(2)}`;
      };
      for (let frame = 0; frame < values.length; frame += stride) {
         const part = values.subarray(frame, frame + stride);
         point(x(frame), part[0]);
         if (part.length > 2) {
            point(x(frame), part.reduce((a, b) => Math.min(a, b)));
            point(x(frame), part.reduce((a, b) => Math.max(a, b)));
         }
      }
      if (values.length > 0)
         point(100, values.at(-1));
      return path;
   }

   show(moment) {
      if (!moment)
         return;
      this.moment = moment;
      const { times, begin, end } = this.recording;
      const { frame, part } = moment;
      const time = part === 0 ? times[frame] : times[frame] + part * (times[frame + 1] - times[frame]);
      const x = (100 * (time - begin)) / (end - begin || 1);
      this.cursor.setAttribute("x1", x);
      this.cursor.setAttribute("x2", x);
      for (const one of this.series) {
         const start = this.recording.energies[one.index];
         one.value.textContent = joules(this.recording.energy(one.index, moment) - start, this.unit);
      }
   }
}
