// What is shown: the list, and the machine that the address names.

async function start() {
  const machines = parseSummaries();
  findDrift(machines);
  const main = document.querySelector("main");
  const fleet = machines.length > 1;
  const place = make("div");
  const worst = machines.reduce((so, one) => healthRank[one.health] > healthRank[so] ? one.health : so, "ok");
  main.replaceChildren(make("header", {}, make("h1", {}, fleet ? `${machines.length} machines ` : "Inventory ",
    machines.length > 0 ? badge(worst) : "")), place);
  if (fleet) {
    main.append(new MachineList(machines).element);
  }
  const show = async (jump) => {
    const target = decodeURIComponent(location.hash.slice(1));
    const machine = machines.find((one) => one.target === target) ?? (fleet ? undefined : machines[0]);
    if (machine === undefined) {
      place.replaceChildren();
      return;
    }
    const view = machineView(machine, await unpack(machine));
    place.replaceChildren(view);
    if (jump) {
      view.focus();
    }
  };
  addEventListener("hashchange", () => show(true));
  await show(false);
  document.body.dataset.ready = "true";
}

start();
