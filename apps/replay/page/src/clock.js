// Lets viewers advance and draws those that changed, as often as the screen shows pictures.

const LONGEST = 0.1; // s that time goes on at once
const BUDGET = 12; // ms for drawing between two pictures; what is left over comes first next time

export class Clock {
   #viewers = [];
   #isWaiting = false;
   #last = 0;
   #first = 0;

   add(viewer) {
      this.#viewers.push(viewer);
   }

   /** Asks for a picture. */
   wake() {
      if (this.#isWaiting)
         return;
      this.#isWaiting = true;
      requestAnimationFrame(now => this.#tick(now));
   }

   #tick(now) {
      this.#isWaiting = false;
      // After a rest, or while the page was hidden, time does not leap.
      const elapsed = Math.min((now - this.#last) / 1000, LONGEST);
      this.#last = now;
      const count = this.#viewers.length;
      this.#viewers.forEach(viewer => viewer.advance(elapsed));
      const begin = performance.now();
      for (let i = 0; i < count; ++i) {
         const index = (this.#first + i) % count;
         if (performance.now() - begin > BUDGET) {
            this.#first = index;
            break;
         }
         this.#viewers[index].drawIfNeeded();
      }
      if (this.#viewers.some(viewer => viewer.wantsPicture))
         this.wake();
   }
}
