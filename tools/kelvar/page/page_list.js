// The list of machines: tiles that filter, a table that sorts, rows built as they are needed.

const rowsAtOnce = 50;

const tiles = [
  { key: "all", text: "machines", holds: () => true },
  { key: "critical", text: "critical", holds: (machine) => machine.health === "critical" },
  { key: "warning", text: "warning", holds: (machine) => machine.health === "warning" },
  { key: "unreachable", text: "unreachable", holds: (machine) => machine.status === "unreachable" },
  { key: "login", text: "login refused", holds: (machine) => machine.status === "login_refused" },
  { key: "drift", text: "firmware differs", holds: (machine) => machine.drift.length > 0 },
  { key: "changed", text: "changed", holds: (machine) => machine.differences.length > 0 },
];

const listColumns = [
  { key: "health", text: "Health", value: (machine) => -healthRank[machine.health] },
  { key: "name", text: "Machine", value: (machine) => machine.name ?? machine.target },
  { key: "model", text: "Model", class: "secondary", value: (machine) => machine.model ?? "" },
  { key: "serial", text: "Serial number", class: "secondary", value: (machine) => machine.serial ?? "" },
  { key: "bios", text: "BIOS", class: "secondary", value: (machine) => machine.bios ?? "" },
  { key: "bmc", text: "BMC", class: "secondary", value: (machine) => machine.bmc ?? "" },
  { key: "worst", text: "Worst, or why it was not read", value: (machine) => machine.error ?? machine.worst ?? "" },
  { key: "events", text: "Critical events", class: "secondary number", value: (machine) => -(machine.events ?? 0) },
];

function versionCell(machine, version, kind) {
  const drift = machine.drift.find((entry) => entry.version === version && entry.name === kind);
  return make("td", { class: drift ? "secondary differs" : "secondary", title: drift ? `usual: ${drift.usual}` : null },
    drift ? `≠ ${version}` : version ?? "");
}

function worstCell(machine) {
  const [first, ...others] = machine.differences;
  return make("td", {}, machine.error ?? machine.worst ?? "", first === undefined ? ""
    : make("div", { class: "changed" }, `changed: ${changeText({ ...first, record: (first.record ?? "").split("/").pop() })}${others.length > 0 ? `; ${others.length} more` : ""}`));
}

function listRow(machine) {
  return make("tr", {},
    make("td", {}, badge(machine.health)),
    make("th", { scope: "row" }, make("a", { href: `#${encodeURIComponent(machine.target)}` },
      machine.name ?? machine.target), machine.name ? make("div", { class: "soft" }, machine.target) : ""),
    make("td", { class: "secondary" }, machine.model ?? ""),
    make("td", { class: "secondary" }, machine.serial ?? ""),
    versionCell(machine, machine.bios, "BIOS"),
    versionCell(machine, machine.bmc, "BMC"),
    worstCell(machine),
    make("td", { class: "secondary number" }, machine.events ? String(machine.events) : ""));
}

class MachineList {
  constructor(machines) {
    this.machines = machines;
    this.tile = "all";
    this.words = "";
    this.sort = { key: "health", up: true };
    this.body = make("tbody");
    this.more = make("button", { type: "button", onclick: () => this.grow() }, "Show more");
    this.count = make("p", { class: "soft", role: "status" });
    this.heads = new Map();
    this.tileButtons = new Map();
    this.element = this.build();
    this.update();
  }

  build() {
    const shown = tiles.filter((tile) => tile.key === "all" || this.machines.some(tile.holds));
    const search = make("input", { type: "search", id: "search", "aria-label": "Search machines",
      placeholder: "Search name, model, serial number, reason",
      oninput: (event) => { this.words = event.target.value.toLowerCase(); this.update(); } });
    return make("section", { class: "sheet", "aria-label": "Machines" },
      make("div", { class: "tiles" }, ...shown.map((tile) => this.buildTile(tile))),
      make("div", { class: "tools" }, search),
      make("div", { class: "scroll", tabindex: "0", role: "region", "aria-label": "Table of machines" },
        make("table", {}, make("thead", {}, make("tr", {}, ...listColumns.map((column) => this.buildHead(column)))),
          this.body)),
      this.count, this.more);
  }

  buildTile(tile) {
    const button = make("button", { type: "button", class: "tile", "aria-pressed": String(tile.key === this.tile),
      onclick: () => { this.tile = tile.key; this.update(); } },
    make("b", {}, String(this.machines.filter(tile.holds).length)), tile.text);
    this.tileButtons.set(tile.key, button);
    return button;
  }

  buildHead(column) {
    const sort = () => {
      this.sort = { key: column.key, up: this.sort.key === column.key ? !this.sort.up : true };
      this.update();
    };
    const head = make("th", { scope: "col", class: column.class },
      make("button", { type: "button", onclick: sort }, column.text));
    this.heads.set(column.key, head);
    return head;
  }

  /** The link to a machine takes the focus, or the search where none is shown. */
  focus(target) {
    const link = [...this.body.querySelectorAll("a")].find((one) => one.hash === `#${encodeURIComponent(target)}`);
    (link ?? this.element.querySelector("#search")).focus();
  }

  update() {
    const holds = tiles.find((tile) => tile.key === this.tile).holds;
    const value = listColumns.find((column) => column.key === this.sort.key).value;
    const order = this.sort.up ? 1 : -1;
    this.matching = this.machines.filter((machine) => holds(machine) && machine.search.includes(this.words));
    const keyed = this.matching.map((machine) => ({ machine, key: value(machine) }));
    keyed.sort((left, right) => order * (left.key < right.key ? -1 : left.key > right.key ? 1 : 0));
    this.matching = keyed.map((entry) => entry.machine);
    for (const [key, button] of this.tileButtons) {
      button.setAttribute("aria-pressed", String(key === this.tile));
    }
    for (const [key, head] of this.heads) {
      const sorted = key === this.sort.key ? (this.sort.up ? "ascending" : "descending") : "none";
      head.setAttribute("aria-sort", sorted);
    }
    this.body.replaceChildren();
    this.grow();
  }

  grow() {
    const from = this.body.childElementCount;
    this.body.append(...this.matching.slice(from, from + rowsAtOnce).map(listRow));
    const shown = this.body.childElementCount;
    this.count.textContent = `${shown} of ${this.matching.length} shown`;
    this.more.hidden = shown >= this.matching.length;
  }
}
