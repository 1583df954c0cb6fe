// What is shown: the list, and the machine that the address names.

/** The machine that the address names. */
function addressed() {
  try {
    return decodeURIComponent(location.hash.slice(1));
  } catch {
    return "";
  }
}

async function start() {
  const machines = parseSummaries();
  findDrift(machines);
  const main = document.querySelector("main");
  const fleet = machines.length > 1;
  const place = make("div");
  const worst = machines.reduce((so, one) => healthRank[one.health] > healthRank[so] ? one.health : so, "ok");
  main.replaceChildren(make("header", {}, make("h1", {}, fleet ? `${machines.length} machines ` : "Inventory ",
    machines.length > 0 ? badge(worst) : "")), place);
  const list = fleet ? new MachineList(machines) : undefined;
  if (fleet) {
    main.append(list.element);
  }
  let shown;
  const show = async (jump) => {
    const target = addressed();
    const machine = machines.find((one) => one.target === target) ?? (fleet ? undefined : machines[0]);
    if (machine === undefined) {
      place.replaceChildren();
      if (jump && shown !== undefined) {
        list.focus(shown.target);
      }
      shown = undefined;
      return;
    }
    const close = fleet ? make("a", { href: "#", class: "close" }, "Close") : undefined;
    const view = machineView(machine, await unpack(machine), close);
    place.replaceChildren(view);
    shown = machine;
    if (jump) {
      view.focus();
    }
  };
  addEventListener("hashchange", () => show(true));
  addEventListener("keydown", (event) => {
    if (event.key === "Escape" && fleet && shown !== undefined) {
      location.hash = "";
    }
  });
  addEventListener("beforeprint", () => document.querySelectorAll("details").forEach((one) => { one.open = true; }));
  await show(false);
  document.body.dataset.ready = "true";
}

start();
