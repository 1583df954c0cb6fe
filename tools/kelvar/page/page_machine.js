// One machine: verdict, drawing, sensors, components, network, logs.

const drawnKinds = [["fan", "Fans"], ["power_supply", "Power supplies"], ["processor", "Processors"], ["gpu", "GPUs"],
  ["memory", "Memory"], ["drive", "Drives"], ["battery", "Batteries"]];
const logRowsAtOnce = 100;

function factList(pairs) {
  const list = make("dl", { class: "facts" });
  for (const [name, value] of pairs) {
    if (value !== undefined && value !== "") {
      list.append(make("dt", {}, name), make("dd", {}, String(value)));
    }
  }
  return list;
}

function titled(key) {
  const text = key.replaceAll("_", " ");
  return text.replace(/^(id|sku|uuid|bios|gpu)\b|^./, (start) => start.toUpperCase());
}

function systemsView(data) {
  return (data.system ?? []).map((system) => make("div", {},
    make("h3", {}, `${titled(system.kind)} ${system.name ?? system.id}`),
    factList(Object.entries(system).filter(([key]) => !["id", "kind", "name"].includes(key))
      .map(([key, value]) => [titled(key), value]))));
}

function shortName(component) {
  const digits = (component.name ?? component.id).match(/[A-Z]?\d+\s*$/);
  return digits ? digits[0].trim() : "•";
}

function drawingView(components) {
  const bays = drawnKinds.map(([kind, title]) => {
    const parts = components.filter((component) => component.kind === kind);
    return parts.length === 0 ? null : make("div", {}, make("div", { class: "soft" }, `${title} (${parts.length})`),
      make("div", { class: "bay", role: "list" }, ...parts.map((part) => {
        const mood = part.state === "absent" ? "absent" : part.health ?? "unknown";
        const text = `${part.name ?? part.id}: ${mood}`;
        return make("span", { class: `part ${mood}`, role: "listitem", title: text, "aria-label": text }, shortName(part));
      })));
  }).filter((bay) => bay !== null);
  return bays.length === 0 ? [] : [make("h3", {}, "Chassis"), make("div", { class: "drawing" }, ...bays)];
}

/** Zones from fatal to fatal, and the reading as a mark. */
function sensorBar(sensor) {
  const limits = [sensor.lower_fatal, sensor.lower_critical, sensor.lower_caution, sensor.upper_caution,
    sensor.upper_critical, sensor.upper_fatal].filter((limit) => limit !== undefined);
  if (sensor.reading === undefined || limits.length === 0) {
    return "";
  }
  let low = Math.min(sensor.reading, ...limits);
  let high = Math.max(sensor.reading, ...limits);
  const margin = (high - low || Math.abs(high) || 1) * 0.15;
  low -= margin;
  high += margin;
  const place = (value) => 100 * (value - low) / (high - low);
  const svg = makeSvg("svg", { class: "bar", viewBox: "0 0 100 10", preserveAspectRatio: "none", role: "img",
    "aria-label": `${readingText(sensor)} between its limits` });
  const zone = (from, to, mood) => {
    if (to > from) {
      svg.append(makeSvg("rect", { class: `zone-${mood}`, x: place(from), y: 2, width: place(to) - place(from), height: 6 }));
    }
  };
  const lowerCritical = Math.max(...[sensor.lower_fatal, sensor.lower_critical].filter((one) => one !== undefined), low);
  const lowerCaution = Math.max(lowerCritical, sensor.lower_caution ?? lowerCritical);
  const upperCritical = Math.min(...[sensor.upper_fatal, sensor.upper_critical].filter((one) => one !== undefined), high);
  const upperCaution = Math.min(upperCritical, sensor.upper_caution ?? upperCritical);
  zone(low, lowerCritical, "critical");
  zone(lowerCritical, lowerCaution, "warning");
  zone(lowerCaution, upperCaution, "ok");
  zone(upperCaution, upperCritical, "warning");
  zone(upperCritical, high, "critical");
  svg.append(makeSvg("rect", { class: "reading", x: place(sensor.reading) - 0.8, y: 0, width: 1.6, height: 10 }));
  return svg;
}

function limitsText(sensor) {
  const level = (lower, upper) => lower !== undefined && upper !== undefined ? `${lower}..${upper}`
    : lower !== undefined ? `${lower}..` : upper !== undefined ? `${upper}` : "";
  const levels = [level(sensor.lower_caution, sensor.upper_caution), level(sensor.lower_critical, sensor.upper_critical),
    level(sensor.lower_fatal, sensor.upper_fatal)];
  while (levels.length > 0 && levels[levels.length - 1] === "") {
    levels.pop();
  }
  return levels.map((text) => text || "-").join(" | ");
}

function sensorsView(sensors, healths) {
  const judged = sensors.map((sensor, index) => ({ sensor, health: healths[index] }));
  const worst = (kind) => judged.reduce((rank, { sensor, health }) =>
    sensor.kind === kind ? Math.max(rank, healthRank[health]) : rank, 0);
  const kinds = [...new Set(sensors.map((sensor) => sensor.kind))]
    .map((kind) => ({ kind, rank: worst(kind) })).sort((left, right) => right.rank - left.rank).map(({ kind }) => kind);
  const views = kinds.map((kind) => {
    const rows = judged.filter(({ sensor }) => sensor.kind === kind)
      .sort((left, right) => healthRank[right.health] - healthRank[left.health])
      .map(({ sensor, health }) => make("tr", {},
        make("th", { scope: "row" }, sensor.name ?? sensor.id),
        make("td", { class: "number" }, readingText(sensor)),
        make("td", {}, sensorBar(sensor)),
        make("td", { class: "secondary nowrap" }, limitsText(sensor)),
        make("td", {}, sensor.state !== "absent" && health !== "unknown" ? badge(health)
          : sensor.state === "enabled" ? "" : sensor.state ?? "")));
    return table(titled(kind), ["Name", { text: "Reading", class: "number" }, "Between its limits",
      { text: "Limits", class: "secondary" }, "Health"], rows);
  });
  return views.length === 0 ? [] : [make("h3", {}, "Sensors"), ...views];
}

function componentItem(component, machine, children, seen) {
  const own = children.get(component.id) ?? [];
  const facts = [component.manufacturer, component.model, component.serial_number, component.firmware_version]
    .filter((text) => text).join(", ");
  const line = [make("span", { class: "soft" }, `${titled(component.kind)} `), component.name ?? component.id, " ",
    component.state === "absent" ? make("span", { class: "soft" }, "absent")
      : component.health ? badge(component.health) : "", " ", changeMark(machine, "components", component),
    facts ? make("span", { class: "soft" }, ` ${facts}`) : ""];
  if (own.length === 0 || seen.has(component.id)) {
    return make("li", {}, ...line);
  }
  seen.add(component.id);
  return make("li", {}, ...line, make("ul", {}, ...own.map((child) => componentItem(child, machine, children, seen))));
}

function componentsView(components, machine) {
  if (components.length === 0) {
    return [];
  }
  const known = new Set(components.map((component) => component.id));
  const children = new Map();
  const roots = [];
  for (const component of components) {
    if (component.parent && component.parent !== component.id && known.has(component.parent)) {
      children.set(component.parent, [...children.get(component.parent) ?? [], component]);
    } else {
      roots.push(component);
    }
  }
  const seen = new Set();
  return [make("details", {}, make("summary", {}, `Components (${components.length})`),
    make("ul", { class: "tree" }, ...roots.map((root) => componentItem(root, machine, children, seen))))];
}

function firmwareView(data, machine) {
  const rows = (data.firmware ?? []).map((entry) => {
    const drift = machine.drift.find((one) => one.name === entry.name && one.version === entry.version);
    return make("tr", {}, make("th", { scope: "row" }, entry.name ?? entry.id), make("td", {}, entry.kind ?? ""),
      make("td", { class: drift ? "differs" : null }, (drift ? "≠ " : "") + (entry.version ?? ""), " ",
        changeMark(machine, "firmware", entry)),
      make("td", { class: "secondary nowrap" }, (entry.date ?? "").slice(0, 10)));
  });
  return rows.length === 0 ? [] : [make("details", {}, make("summary", {}, `Firmware (${rows.length})`),
    table("Firmware", ["Name", "Kind", "Version", { text: "Date", class: "secondary" }], rows))];
}

function networkView(network) {
  const interfaces = (network?.interfaces ?? []).map((entry) => make("tr", {},
    make("th", { scope: "row" }, entry.name ?? entry.id), make("td", {}, entry.owner),
    make("td", {}, (entry.addresses ?? []).map((one) => one.address).join(", ")),
    make("td", { class: "secondary" }, entry.mac_address ?? ""),
    make("td", { class: "secondary" }, entry.host_name ?? "")));
  const services = (network?.services ?? []).map((entry) => make("tr", {}, make("th", { scope: "row" }, entry.name),
    make("td", {}, entry.enabled === undefined ? "" : entry.enabled ? "enabled" : "disabled"),
    make("td", { class: "number" }, String(entry.port ?? "")),
    make("td", { class: "secondary" }, (entry.cipher_suites ?? []).join(", "))));
  const views = [];
  if (interfaces.length > 0) {
    views.push(table("Interfaces", ["Name", "Owner", "Addresses", { text: "MAC address", class: "secondary" },
      { text: "Host name", class: "secondary" }], interfaces));
  }
  if (services.length > 0) {
    views.push(table("Services", ["Name", "State", { text: "Port", class: "number" },
      { text: "Cipher suites", class: "secondary" }], services));
  }
  return views.length === 0 ? [] : [make("details", {}, make("summary", {}, "Network"), ...views)];
}

function timeline(entries) {
  const timed = entries.map((entry) => ({ entry, time: Date.parse(entry.created ?? "") }))
    .filter((one) => !Number.isNaN(one.time));
  if (timed.length < 2) {
    return [];
  }
  const from = timed.reduce((least, one) => Math.min(least, one.time), Infinity);
  const to = timed.reduce((most, one) => Math.max(most, one.time), -Infinity);
  const place = (time) => to === from ? 500 : 10 + 980 * (time - from) / (to - from);
  const rows = { critical: 12, warning: 26, unknown: 40, ok: 40 };
  return [makeSvg("svg", { class: "timeline", viewBox: "0 0 1000 72", preserveAspectRatio: "none", role: "img",
    "aria-label": `${timed.length} events from ${timeText(timed[0].entry.created)}` },
  makeSvg("line", { class: "axis", x1: 0, x2: 1000, y1: 54, y2: 54 }),
  ...timed.map(({ entry, time }) => makeSvg("rect", { class: `event-${entry.severity}`, x: place(time) - 2,
    y: rows[entry.severity] ?? 40, width: 4, height: 12 })),
  ), make("p", { class: "soft" }, `${timeText(new Date(from).toISOString())} to ${timeText(new Date(to).toISOString())} UTC`)];
}

class LogView {
  constructor(entries, total) {
    this.entries = [...entries].sort((left, right) => Date.parse(right.created ?? 0) - Date.parse(left.created ?? 0));
    this.severities = new Set(this.entries.map((entry) => entry.severity));
    this.shown = new Set(this.severities);
    this.limit = logRowsAtOnce;
    this.body = make("div");
    this.element = make("details", {}, make("summary", {}, `Logs (${total})`), ...timeline(this.entries),
      make("div", { class: "tools", role: "group", "aria-label": "Severities" },
        ...[...this.severities].map((severity) => this.chip(severity))), this.body);
    this.update();
  }

  chip(severity) {
    const button = make("button", { type: "button", "aria-pressed": "true", class: severity,
      onclick: () => {
        this.shown.has(severity) ? this.shown.delete(severity) : this.shown.add(severity);
        button.setAttribute("aria-pressed", String(this.shown.has(severity)));
        this.update();
      } }, severity);
    return button;
  }

  update() {
    const matching = this.entries.filter((entry) => this.shown.has(entry.severity));
    const rows = matching.slice(0, this.limit).map((entry) => make("tr", {},
      make("td", { class: "nowrap" }, timeText(entry.created)), make("td", {}, badge(entry.severity)),
      make("td", {}, entry.message ?? entry.message_id ?? ""), make("td", { class: "secondary" }, entry.source ?? ""),
      make("td", { class: "secondary" }, entry.log)));
    const more = make("button", { type: "button", onclick: () => { this.limit += logRowsAtOnce; this.update(); } },
      `Show more (${matching.length - rows.length})`);
    this.body.replaceChildren(table("Log entries", ["Time (UTC)", "Severity", "Message",
      { text: "Source", class: "secondary" }, { text: "Log", class: "secondary" }], rows),
    matching.length > rows.length ? more : "");
  }
}

function changeItem(change) {
  if (change.change !== "changed") {
    return make("li", {}, changeText(change));
  }
  return make("li", {}, `${changePlace(change)}: `, make("del", {}, change.before || "(none)"), " → ",
    make("ins", {}, change.after || "(none)"));
}

function changesView(machine) {
  if (machine.changes === undefined) {
    return [];
  }
  const unread = machine.changes.filter(({ change }) => change === "unread")
    .map((change) => `${changePlace(change)} (${change.after})`);
  return [make("h3", {}, "Changes"), machine.differences.length === 0 ? make("p", {}, "none found")
    : make("ul", { class: "changes" }, ...machine.differences.map(changeItem)),
  unread.length === 0 ? "" : make("p", { class: "soft" }, `Not compared: ${unread.join(", ")}`)];
}

/** Whether a record is another one than before, as a mark beside it. */
function changeMark(machine, what, record) {
  const found = machine.differences.filter((change) => change.what === what && change.record === record.id);
  return found.length === 0 ? "" : make("span", { class: "badge changed", title: found.map(changeText).join("; ") },
    found.some(({ change }) => change === "added") ? "new" : "changed");
}

function csvOf(data) {
  const quoted = (text) => `"${String(text).replaceAll("\"", "\"\"").replace(/^([=+\-@])/, "'$1")}"`;
  const lines = [];
  for (const [family, records] of Object.entries(data)) {
    for (const record of Array.isArray(records) && typeof records[0] === "object" ? records : []) {
      for (const [key, value] of Object.entries(record)) {
        lines.push([family, record.id ?? "", key, typeof value === "object" ? JSON.stringify(value) : value]
          .map(quoted).join(","));
      }
    }
  }
  return `family,id,key,value\r\n${lines.join("\r\n")}\r\n`;
}

/** Copies without the clipboard interface too, which a page from a file may not use. */
function copy(text, button) {
  const area = make("textarea", { "aria-label": "Text to copy" });
  area.value = text;
  document.body.append(area);
  area.select();
  const done = document.execCommand("copy");
  area.remove();
  const usual = button.dataset.text ?? button.textContent;
  button.dataset.text = usual;
  button.textContent = done ? "Copied" : "Not copied";
  setTimeout(() => { button.textContent = usual; }, 1500);
}

function verdictView(machine) {
  return make("div", {}, make("p", {}, badge(machine.health), " ", machine.error ?? ""),
    (machine.reasons ?? []).length === 0 ? "" : make("ul", { class: "reasons" }, ...machine.reasons.map((reason) =>
      make("li", { class: reason.health }, `${reason.health}: ${reason.text}`))));
}

function tlsText(tls) {
  const checks = { ca: "verified by CA", pin: "pinned", pin_and_ca: "pinned and verified by CA" };
  return tls === undefined ? "" : `, ${tls.version}, certificate ${checks[tls.verified_by] ?? "not verified"}`;
}

function machineView(machine, data, close) {
  const copyJson = make("button", { type: "button", onclick: () => copy(JSON.stringify(data, null, 2), copyJson) }, "Copy as JSON");
  const copyCsv = make("button", { type: "button", onclick: () => copy(csvOf(data), copyCsv) }, "Copy as CSV");
  const incomplete = Object.entries(data.families ?? {})
    .filter(([, result]) => result.status === "partial" || result.status === "failed")
    .map(([family, result]) => make("li", {}, `${family}: ${result.status}${result.reason ? `, ${result.reason}` : ""}`));
  const logs = data.logs ?? [];
  return make("section", { class: "sheet", id: "machine", tabindex: "-1" },
    close ?? "", make("h2", {}, machine.name ?? machine.target), machine.name ? make("p", { class: "soft" }, machine.target) : "",
    verdictView(machine), ...changesView(machine),
    incomplete.length === 0 ? "" : make("div", {}, make("h3", {}, "Not read completely"), make("ul", {}, ...incomplete)),
    make("p", { class: "soft" }, `read ${timeText(data.start)} UTC in ${data.seconds} s${tlsText(data.tls)}`),
    make("div", { class: "tools" }, copyJson, copyCsv),
    ...drawingView(data.components ?? []), ...sensorsView(data.sensors ?? [], data.sensor_health), ...systemsView(data),
    ...firmwareView(data, machine), ...componentsView(data.components ?? [], machine), ...networkView(data.network),
    ...(logs.length === 0 ? [] : [new LogView(logs, data.log_total ?? logs.length).element]),
    (data.log_total ?? 0) > logs.length ? make("p", { class: "soft" },
      `The page holds the newest ${logs.length} of ${data.log_total} log entries.`) : "");
}
