// What keys do to the viewer that is large.

const help = () => document.getElementById("help");

export function wireKeys(viewer) {
   const toggle = what => () => viewer.find(`[data-show="${what}"]`).click();
   const menu = viewer.find(".menu");
   const keys = {
      " ": () => (viewer.isPlaying ? viewer.pause() : viewer.play()),
      ArrowLeft: event => viewer.step(event.shiftKey ? -10 : -1),
      ArrowRight: event => viewer.step(event.shiftKey ? 10 : 1),
      Home: () => viewer.seek(viewer.recording.begin),
      End: () => viewer.seek(viewer.recording.end),
      ",": () => viewer.changeSpeed(-1),
      ".": () => viewer.changeSpeed(1),
      "+": () => viewer.zoom(0.8),
      "=": () => viewer.zoom(0.8), // the key of + without shift
      "-": () => viewer.zoom(1.25),
      1: () => viewer.lookFrom("front"),
      2: () => viewer.lookFrom("side"),
      3: () => viewer.lookFrom("above"),
      l: () => viewer.setLoop(!viewer.loops),
      r: () => viewer.home(),
      p: () => viewer.openPanel(viewer.find(".panel").hidden),
      c: toggle("contacts"),
      f: toggle("frames"),
      n: toggle("names"),
      t: toggle("transparent"),
      w: toggle("wireframe"),
      "?": () => help().showModal(),
      Escape: () => {
         if (menu.open) {
            menu.open = false;
            menu.querySelector("summary").focus();
         } else if (viewer.isTile)
            viewer.enlarge(false);
      },
   };
   addEventListener("keydown", event => {
      const at = event.target;
      const isCommand = event.ctrlKey || event.metaKey || event.altKey;
      const isControls = (at.matches?.("select") && event.key !== "Escape") || // what the focused control answers
         (event.key === " " && at.matches?.("button, summary, input[type=checkbox]")) ||
         (/^Arrow|Home|End/.test(event.key) && at.matches?.(".forces"));
      const isOurs = viewer.isLarge && !help().open && !isCommand && !isControls;
      const action = keys[event.key.length === 1 ? event.key.toLowerCase() : event.key];
      if (!isOurs || !action)
         return;
      event.preventDefault();
      action(event);
   });
}
