"use strict";
// The page of the gateway: the tree of the server, its values as they change, trends, and writing.
(() => {
  const MOST_WATCHED = 2000;        // what the gateway takes from one page
  const MOST_SHOWN = 500;           // children of one branch, until more are asked for
  const MOST_POINTS = 3600;
  const byId = (id) => document.getElementById(id);
  const rows = byId("rows");
  const nodes = new Map();          // item name -> node, of all that is in the table
  const opened = new Set(JSON.parse(sessionStorage.getItem("opened") || "[]"));
  const ticked = new Set(JSON.parse(sessionStorage.getItem("ticked") || "[]"));
  let page = "";                    // our name at the gateway
  let status = {running: false};
  let rootItems = [];
  let writing = null;               // the node whose value is being written

  // --- talking to the gateway

  async function get(path) {
    const reply = await fetch(path, {cache: "no-store"});
    const content = await reply.json();
    if (!reply.ok) throw new Error(content.error || reply.statusText);
    return content;
  }

  async function post(path, content) {
    const reply = await fetch(path, {
      method: "POST",
      headers: {"Content-Type": "application/json"},
      body: JSON.stringify(content),
    });
    const text = await reply.text();
    let answer;
    try { answer = JSON.parse(text); } catch { answer = {error: text.trim()}; }
    if (!reply.ok) throw new Error(answer.error || reply.statusText);
    return answer;
  }

  let source;
  function listen() {
    source = new EventSource("api/events");
    source.addEventListener("hello", (event) => {
      page = JSON.parse(event.data).page;
      document.body.classList.remove("offline");
      watch();
    });
    source.addEventListener("state", (event) => {
      const before = status.running;
      status = JSON.parse(event.data);
      showStatus();
      if (status.running && (!before || rootItems.length === 0)) reload();
    });
    source.addEventListener("items", (event) => JSON.parse(event.data).forEach(update));
    source.onerror = () => {
      page = "";
      status.running = false;
      document.body.classList.add("offline");
      setState("bad", "the gateway does not answer");
      if (source.readyState === EventSource.CLOSED) setTimeout(listen, 1000);
    };
  }

  let watchTimer = 0;
  /** Tells the gateway what is to be seen; a moment later, so that several changes make one request. */
  function watch() {
    clearTimeout(watchTimer);
    watchTimer = setTimeout(async () => {
      if (!page) return;
      const items = [];
      for (const node of nodes.values()) if (node.data.variable && isShown(node)) items.push(node.data.item);
      for (const item of ticked) if (!items.includes(item)) items.push(item);
      try {
        await post("api/watch", {page, items: items.slice(0, MOST_WATCHED)});
      } catch (error) {
        setState("bad", error.message);
      }
    }, 50);
  }

  // --- the state of the server

  function setState(kind, text) {
    const element = byId("state");
    element.className = kind;
    if (element.textContent !== text) element.textContent = text;
  }

  function showStatus() {
    byId("server").textContent = status.server;
    document.title = status.server;
    if (status.running) setState("good", status.readOnly ? "connected, read-only" : "connected");
    else setState("bad", "the server does not answer; last known values are shown");
  }

  // --- the tree

  async function browse(item) {
    return (await get("api/browse?item=" + encodeURIComponent(item))).elements;
  }

  async function reload() {
    try {
      const elements = await browse("/");
      rootItems = elements.map((data) => data.item);
      for (const node of [...nodes.values()]) remove(node);
      showChildren(null, elements);
      byId("hint").hidden = elements.length > 0;
      byId("hint").textContent = "The server has no items.";
      if (opened.size === 0 && elements.length > 0) {
        const first = elements.find((data) => data.children);
        if (first) open(nodes.get(first.item));
      }
    } catch (error) {
      byId("hint").hidden = false;
      byId("hint").textContent = "The items cannot be listed: " + error.message;
    }
  }

  function remove(node) {
    node.children.forEach(remove);
    node.row.remove();
    if (node.more) node.more.remove();
    nodes.delete(node.data.item);
  }

  function lastRow(node) {
    if (node.more) return node.more;
    return node.isOpen && node.children.length ? lastRow(node.children[node.children.length - 1]) : node.row;
  }

  /** Puts elements below a branch, or at the top. */
  function showChildren(parent, elements, begin = 0) {
    let place = parent ? (begin ? lastRow(parent) : parent.row) : null;
    if (parent && parent.more) { place = parent.more.previousElementSibling; parent.more.remove(); parent.more = null; }
    const shown = elements.slice(begin, begin + MOST_SHOWN);
    const toOpen = [];
    for (const data of shown) {
      const node = createNode(data, parent);
      if (place) place.after(node.row); else rows.append(node.row);
      place = node.row;
      if (parent) parent.children.push(node);
      if (data.children && opened.has(data.item)) toOpen.push(node);
    }
    const rest = elements.length - begin - shown.length;
    if (rest > 0 && parent) {
      const row = document.createElement("tr");
      const cell = row.insertCell();
      cell.colSpan = 6;
      const button = document.createElement("button");
      button.textContent = "Show " + Math.min(rest, MOST_SHOWN) + " more of " + rest;
      button.onclick = () => showChildren(parent, elements, begin + shown.length);
      cell.append(button);
      place.after(row);
      parent.more = row;
    }
    toOpen.forEach((node) => open(node));
    applyFilter();
    if (!rows.querySelector("tr[tabindex='0']") && rows.firstElementChild) rows.firstElementChild.tabIndex = 0;
    watch();
  }

  function createNode(data, parent) {
    const row = document.createElement("tr");
    const node = {data, parent, row, children: [], isOpen: false, level: parent ? parent.level + 1 : 0};
    nodes.set(data.item, node);
    row.node = node;
    row.dataset.item = data.item;
    row.tabIndex = -1;
    row.className = data.variable ? "variable" : "branch";
    row.setAttribute("role", "row");
    row.setAttribute("aria-level", node.level + 1);
    row.style.setProperty("--level", node.level);

    const name = row.insertCell();
    name.className = "name";
    const twisty = document.createElement("button");
    twisty.type = "button";
    twisty.className = "twisty";
    twisty.tabIndex = -1;
    if (data.children) {
      twisty.textContent = "▸";
      twisty.setAttribute("aria-label", "Open " + data.name);
      twisty.onclick = () => toggle(node);
      row.setAttribute("aria-expanded", "false");
    } else {
      twisty.disabled = true;
      twisty.setAttribute("aria-hidden", "true");
    }
    const label = document.createElement("span");
    label.className = "label";
    data.name.split("_").forEach((part, index) => {  // a long name may break behind an underscore
      if (index > 0) label.append("_", document.createElement("wbr"));
      label.append(part);
    });
    if (data.description) {
      const description = document.createElement("span");
      description.className = "description";
      description.textContent = data.description;
      label.append(description);
    }
    const line = document.createElement("div");
    line.append(twisty, label);
    name.append(line);
    node.twisty = twisty;
    node.value = row.insertCell();
    node.value.className = "value";
    if (data.unit) node.value.dataset.unit = data.unit;
    const unit = row.insertCell();
    unit.className = "unit";
    unit.textContent = data.unit || "";
    node.quality = row.insertCell();
    node.quality.className = "quality none";
    const trend = row.insertCell();
    trend.className = "actions";
    const write = row.insertCell();
    write.className = "actions";
    if (data.variable) {
      if (isTrendable(data)) {
        node.tick = document.createElement("input");
        node.tick.type = "checkbox";
        node.tick.tabIndex = -1;
        node.tick.checked = ticked.has(data.item);
        node.tick.setAttribute("aria-label", "Trend of " + data.item);
        node.tick.onchange = () => tick(node, node.tick.checked);
        trend.append(node.tick);
      }
      if (data.writable && !status.readOnly) {
        node.button = document.createElement("button");
        node.button.type = "button";
        node.button.tabIndex = -1;
        node.button.textContent = "Write";
        node.button.setAttribute("aria-label", "Write " + data.item);
        node.button.onclick = () => openWrite(node);
        write.append(node.button);
      }
      showValue(node);
    }
    return node;
  }

  async function open(node) {
    if (node.isOpen) return;
    node.isOpen = true;
    opened.add(node.data.item);
    saveOpened();
    node.twisty.textContent = "▾";
    node.row.setAttribute("aria-expanded", "true");
    try {
      const elements = await browse(node.data.item);
      if (node.isOpen && nodes.get(node.data.item) === node) showChildren(node, elements);
    } catch (error) {
      close(node);
      setState("bad", error.message);
    }
  }

  function close(node) {
    node.isOpen = false;
    opened.delete(node.data.item);
    saveOpened();
    node.children.forEach(remove);
    node.children = [];
    if (node.more) { node.more.remove(); node.more = null; }
    node.twisty.textContent = "▸";
    node.row.setAttribute("aria-expanded", "false");
    watch();
  }

  function toggle(node) { if (node.isOpen) close(node); else open(node); }
  function saveOpened() { sessionStorage.setItem("opened", JSON.stringify([...opened])); }

  function isShown(node) { return !node.row.hidden; }

  function applyFilter() {
    const text = byId("filter").value.trim().toLowerCase();
    for (const node of nodes.values()) node.row.hidden = text !== "" && !node.data.item.toLowerCase().includes(text);
    if (text) {
      for (const node of nodes.values()) {
        if (!node.row.hidden) for (let up = node.parent; up; up = up.parent) up.row.hidden = false;
      }
    }
  }

  // --- values

  function isTrendable(data) {
    return !data.array && (data.type === "boolean" || typeof data.value === "number" ||
      ["double", "float", "decimal", "int", "short", "byte", "long", "unsignedInt", "unsignedShort", "unsignedByte",
        "unsignedLong"].includes(data.type));
  }

  function toText(data) {
    const {value} = data;
    if (value === undefined || value === null) return "";
    if (Array.isArray(value)) return "[" + value.map((member) => toText({...data, value: member})).join(", ") + "]";
    if (data.symbols && typeof value === "number" && data.symbols[value] !== undefined) return data.symbols[value];
    if (typeof value !== "number") return String(value);
    if (typeof data.digits === "number") return value.toFixed(Math.min(20, Math.max(0, data.digits)));
    return data.type === "float" ? String(Number(value.toPrecision(7))) : String(value);
  }

  function showValue(node) {
    const {data} = node;
    const text = data.gone ? "no longer there" : toText(data);
    if (node.value.textContent !== text) {
      if (node.value.textContent !== "") {
        node.value.classList.remove("changed");
        void node.value.offsetWidth;  // starts the flash again
        node.value.classList.add("changed");
      }
      node.value.textContent = text;
    }
    node.value.title = data.time || "";
    const quality = data.quality || "";
    const kind = quality.startsWith("good") ? "good" : quality.startsWith("uncertain") ? "uncertain"
      : quality ? "bad" : "none";
    node.quality.className = "quality " + kind;
    node.quality.textContent = quality;
    node.quality.title = quality;
    node.row.classList.toggle("bad", kind === "bad");
    node.row.classList.toggle("uncertain", kind === "uncertain");
  }

  const latest = new Map();  // of what has a trend, also when its branch is closed

  function update(change) {
    latest.set(change.item, change);
    const node = nodes.get(change.item);
    if (!node) return;
    node.data.quality = change.quality;
    node.data.gone = change.gone === true;
    if ("value" in change) { node.data.value = change.value; node.data.time = change.time; }
    showValue(node);
    if (writing === node) byId("write-now").textContent = describe(node.data);
  }

  // --- trends

  let graph = null;
  let points = [];
  let series = [];

  function tick(node, isOn) {
    if (isOn) ticked.add(node.data.item); else ticked.delete(node.data.item);
    sessionStorage.setItem("ticked", JSON.stringify([...ticked]));
    if (node.tick) node.tick.checked = isOn;
    if (isOn && "value" in node.data) latest.set(node.data.item, node.data);
    rebuildTrend();
    watch();
  }

  function toNumber(change) {
    if (!change || change.gone || !("value" in change)) return null;
    const number = Number(change.value);
    return Number.isFinite(number) && !Array.isArray(change.value) ? number : null;
  }

  function rebuildTrend() {
    const now = [...ticked];
    points = points.map((point) => [point[0], ...now.map((item) => {
      const place = series.indexOf(item);
      return place < 0 ? null : point[place + 1];
    })]);
    series = now;
    byId("trend-section").hidden = series.length === 0;
    document.querySelector("main").classList.toggle("with-trend", series.length > 0);
    if (graph) { graph.destroy(); graph = null; }
    if (series.length === 0) { points = []; return; }
    addPoint();
    const style = getComputedStyle(document.documentElement);
    graph = new Dygraph(byId("trend"), points, {
      labels: ["Time", ...series],
      labelsDiv: byId("legend"),
      legend: "always",
      connectSeparatedPoints: true,
      stepPlot: true,
      gridLineColor: style.getPropertyValue("--line").trim(),
      axisLineColor: style.getPropertyValue("--line").trim(),
      strokeWidth: 1.6,
    });
  }

  function addPoint() {
    points.push([new Date(), ...series.map((item) => toNumber(latest.get(item)))]);
    if (points.length > MOST_POINTS) points.splice(0, points.length - MOST_POINTS);
  }

  setInterval(() => {
    if (series.length === 0 || !graph) return;
    addPoint();
    graph.updateOptions({file: points});
    byId("trend").dataset.points = points.length;
  }, 500);

  // --- writing

  function describe(data) {
    return [toText(data), data.unit || "", data.quality && data.quality !== "good" ? "(" + data.quality + ")" : ""]
      .filter(Boolean).join(" ");
  }

  function createField(data) {
    let field;
    if (data.type === "boolean" || data.symbols) {
      field = document.createElement("select");
      const choices = data.symbols || ["false", "true"];
      choices.forEach((text, value) => field.append(new Option(text, value)));
      field.value = String(Number(data.value));
    } else if (data.type === "string") {
      field = document.createElement("textarea");
      field.rows = 2;
      field.value = data.value ?? "";
    } else {
      field = document.createElement("input");
      field.value = Array.isArray(data.value) ? JSON.stringify(data.value) : data.value ?? "";
      if (isTrendable(data)) field.inputMode = "decimal";
    }
    field.id = "write-value";
    field.setAttribute("aria-label", "New value");
    return field;
  }

  function openWrite(node) {
    if (!node.button) return;
    writing = node;
    const {data} = node;
    byId("write-title").textContent = data.item;
    byId("write-description").textContent = data.description || "";
    byId("write-now").textContent = describe(data);
    byId("write-field").replaceChildren(createField(data));
    const range = data.low !== undefined && data.high !== undefined ? "Range: " + data.low + " to " + data.high + ". " : "";
    byId("write-range").textContent = range + "Type: " + data.type + (data.array ? ", for example [1, 2, 3]" : "");
    byId("write-result").textContent = "";
    byId("write").showModal();
    const field = byId("write-value");
    field.focus();
    if (field.select) field.select();
  }

  function readField(data) {
    const text = byId("write-value").value;
    if (data.symbols) return Number(text);
    if (data.type === "boolean") return text === "1";
    if (!data.array) return text;
    try {
      const list = JSON.parse(text);
      if (Array.isArray(list)) return list;
    } catch { /* it may be a plain list */ }
    const inner = text.trim().replace(/^\[|\]$/g, "").trim();
    return inner === "" ? [] : inner.split(",").map((member) => member.trim());
  }

  byId("write-form").addEventListener("submit", async (event) => {
    event.preventDefault();
    const node = writing;
    if (!node) return;
    byId("write-ok").disabled = true;
    try {
      const answer = await post("api/write", {item: node.data.item, value: readField(node.data)});
      if (answer.code === "") {
        byId("write").close();
      } else {
        byId("write-result").textContent = answer.text + " (" + answer.code + ")";
      }
    } catch (error) {
      byId("write-result").textContent = error.message;
    } finally {
      byId("write-ok").disabled = false;
    }
  });
  byId("write-cancel").onclick = () => byId("write").close();
  byId("write").addEventListener("close", () => {
    const node = writing;
    writing = null;
    if (node) focusRow(node.row);
  });

  // --- keyboard

  function focusRow(row) {
    if (!row || !row.isConnected) return;
    const before = rows.querySelector("tr[tabindex='0']");
    if (before) before.tabIndex = -1;
    row.tabIndex = 0;
    row.focus();
  }

  function neighbour(row, step) {
    let next = row;
    do { next = step > 0 ? next.nextElementSibling : next.previousElementSibling; } while (next && (next.hidden || !next.node));
    return next;
  }

  rows.addEventListener("keydown", (event) => {
    const row = event.target.closest("tr");
    if (!row || !row.node || event.ctrlKey || event.altKey || event.metaKey) return;
    const {node} = row;
    const onRow = event.target === row;
    switch (event.key) {
      case "ArrowDown": focusRow(neighbour(row, 1)); break;
      case "ArrowUp": focusRow(neighbour(row, -1)); break;
      case "Home": focusRow(rows.querySelector("tr:not([hidden])")); break;
      case "ArrowRight":
        if (node.data.children && !node.isOpen) open(node); else if (node.isOpen) focusRow(neighbour(row, 1));
        break;
      case "ArrowLeft":
        if (node.isOpen) close(node); else if (node.parent) focusRow(node.parent.row);
        break;
      case " ": if (!onRow || !node.tick) return; tick(node, !node.tick.checked); break;
      case "Enter": if (!onRow) return; if (node.button) openWrite(node); else if (node.data.children) toggle(node); break;
      default: return;
    }
    event.preventDefault();
  });
  rows.addEventListener("click", (event) => {
    const row = event.target.closest("tr");
    if (row && row.node && !event.target.closest("button, input")) focusRow(row);
  });
  document.addEventListener("keydown", (event) => {
    if (event.key === "/" && !byId("write").open && !/^(INPUT|TEXTAREA|SELECT)$/.test(document.activeElement.tagName)) {
      byId("filter").focus();
      event.preventDefault();
    }
  });
  let filterTimer = 0;
  byId("filter").addEventListener("input", () => {
    clearTimeout(filterTimer);
    filterTimer = setTimeout(() => { applyFilter(); watch(); }, 150);
  });

  rebuildTrend();
  listen();
})();
