"use strict";
// The machines of this page. Each has a short summary, parsed at once, and its whole data, unpacked when it is shown.

const healthRank = { critical: 3, warning: 2, unknown: 1, ok: 0 };

function parseSummaries() {
  const machines = [];
  for (const element of document.querySelectorAll("script.summary")) {
    const machine = JSON.parse(element.textContent);
    machine.data = element.nextElementSibling;
    machine.differences = (machine.changes ?? []).filter(({ change }) => change !== "unread" && change !== "no_rule");
    machine.search = [machine.target, machine.name, machine.model, machine.serial, machine.worst, machine.error,
      ...machine.differences.map(changeText)].join(" ").toLowerCase();
    machines.push(machine);
  }
  return machines;
}

function changePlace({ what, record, field }) {
  return [what, record, field].filter((word) => word).join(" ") || "machine";
}

/** What differs from a former run or a baseline, in a line. */
function changeText(change) {
  if (change.change === "changed") {
    return `${changePlace(change)}: ${change.before || "(none)"} → ${change.after || "(none)"}`;
  }
  if (change.change === "deviates") {
    return `${changePlace(change)}: ${change.found || "(none)"}, expected ${change.expected}`;
  }
  return `${changePlace(change)}: ${change.change}`;
}

/** The whole data of a machine, as the tool's JSON output has them. */
async function unpack(machine) {
  const packed = Uint8Array.from(atob(machine.data.textContent), (character) => character.charCodeAt(0));
  const stream = new Blob([packed]).stream().pipeThrough(new DecompressionStream("gzip"));
  return JSON.parse(await new Response(stream).text());
}

/** Marks versions that differ from the most common one among machines of the same model. */
function findDrift(machines) {
  const counts = new Map();
  for (const machine of machines) {
    for (const [name, version] of machine.firmware ?? []) {
      const key = JSON.stringify([machine.model ?? "", name]);
      const versions = counts.get(key) ?? new Map();
      versions.set(version, (versions.get(version) ?? 0) + 1);
      counts.set(key, versions);
    }
  }
  for (const machine of machines) {
    machine.drift = [];
    for (const [name, version] of machine.firmware ?? []) {
      const versions = counts.get(JSON.stringify([machine.model ?? "", name]));
      const [usual] = [...versions].sort((left, right) => right[1] - left[1] || (left[0] < right[0] ? -1 : 1))[0];
      if (version !== usual) {
        machine.drift.push({ name, version, usual });
      }
    }
  }
}

/** What a target could steer the reader with is shown as its code. */
function clean(text) {
  return text.replace(/[\u0000-\u001f\u007f-\u009f\u200e\u200f\u2028-\u202e\u2066-\u2069]/g,
    (character) => `\\x${character.charCodeAt(0).toString(16).padStart(2, "0")}`);
}

/** An element with attributes and children; texts are texts, never markup. */
function make(tag, attributes = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (name.startsWith("on")) {
      element.addEventListener(name.slice(2), value);
    } else if (value !== undefined && value !== null && value !== false) {
      element.setAttribute(name, value === true ? "" : value);
    }
  }
  element.append(...children.filter((child) => child !== undefined && child !== null && child !== "")
    .map((child) => typeof child === "string" ? clean(child) : child));
  return element;
}

function makeSvg(tag, attributes = {}, ...children) {
  const element = document.createElementNS("http://www.w3.org/2000/svg", tag);
  for (const [name, value] of Object.entries(attributes)) {
    element.setAttribute(name, value);
  }
  element.append(...children);
  return element;
}

function badge(health, text) {
  return make("span", { class: `badge ${health}` }, text ?? health);
}

function table(caption, heads, rows) {
  return make("div", { class: "scroll", tabindex: "0", role: "region", "aria-label": caption },
    make("table", {}, make("caption", {}, caption),
      make("thead", {}, make("tr", {}, ...heads.map((head) =>
        make("th", { scope: "col", class: head.class }, head.text ?? head)))),
      make("tbody", {}, ...rows)));
}

const unitNames = { Cel: "°C", "[degF]": "°F", "{rev}/min": "rpm" };

function readingText(sensor) {
  if (sensor.reading === undefined) {
    return (sensor.states ?? []).join(", ");
  }
  const number = Number(sensor.reading.toFixed(4)).toString();
  const unit = unitNames[sensor.unit] ?? sensor.unit ?? "";
  return unit ? `${number} ${unit}` : number;
}

function timeText(iso) {
  const time = new Date(iso ?? "");
  return Number.isNaN(time.getTime()) ? iso ?? "" : time.toISOString().slice(0, 19).replace("T", " ");
}
