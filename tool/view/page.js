'use strict';

// The page's address ends with the secret that every request needs: all requests are relative to it.

const byId = (id) => document.getElementById(id);
const make = (tag, properties = {}, ...children) => {
  const element = Object.assign(document.createElement(tag), properties);
  element.append(...children);
  return element;
};

let state = null;
/// The numbers of the newest state and picture on this page.
let stateNumber = 0;
let pictureNumber = 0;
/// The change that the shown picture has, and the last one that was sent.
let shownChange = 0;
let sentChange = 0;
let refined = false;
let connected = true;

const tell = (sentence) => {
  byId('trouble').textContent = sentence;
  byId('trouble').hidden = !sentence;
};

async function answerOf(response) {
  if (response.ok) return response;
  let sentence = '';
  try {
    sentence = (await response.json()).trouble;
  } catch { /* Not from the tool. */ }
  throw new Error(sentence || `The tool answers with ${response.status}; start it again`);
}

// --- Changes: while one is on its way, those that follow join into one.

let joined = null;
let sending = null;

function join(change) {
  joined ??= {};
  for (const [name, value] of Object.entries(change)) {
    if (name !== 'settings') {
      joined[name] = value;
      continue;
    }
    const labels = new Set(value.map(([label]) => label));
    joined.settings = (joined.settings ?? []).filter(([label]) => !labels.has(label)).concat(value);
  }
}

function send(change) {
  // Another camera or a reset starts a panel anew: what was turned before is not for it.
  if (joined && ('camera' in change || 'server' in change || change.reset)) delete joined.settings;
  join(change);
  sending ??= (async () => {
    while (joined) {
      const body = JSON.stringify(joined);
      joined = null;
      try {
        const answer = await answerOf(await fetch('change', {method: 'POST', headers: {'Content-Type': 'application/json'}, body}));
        sentChange = (await answer.json()).change;
        refined = false;
      } catch (error) {
        tell(error.message);
      }
    }
    sending = null;
  })();
  return sending;
}

// --- The panel.

/// What a number is shown in: its size in the unit that the module keeps.
const units = {angle: [Math.PI / 180, '°'], percent: [0.01, '%'], length: [1, 'm']};
const unitOf = (row) => units[row.quantity] ?? [1, ''];
const isNumber = (row) => ['angle', 'percent', 'length', 'number', 'whole number'].includes(row.quantity);
/// The module keeps some values in single precision, whose further digits nobody has set.
const shortNumber = (number) => String(Number(number.toPrecision(7)));

/// The second of two values under one label has no label of its own, and is set by its channel: there, units must be said.
const inChannelUnits = (row, text) => row.label ? text : text + ({angle: 'deg', percent: '%', length: 'm'}[row.quantity] ?? '');

/// Where the module names no limits, the slider reaches around what is usual for such a value.
function limitsOf(row) {
  const [size] = unitOf(row);
  const value = Number(row.value) / size;
  const usual = {angle: [0, 360], percent: [0, 100], length: [0, 10], number: [0, 10], 'whole number': [0, 100]}[row.quantity];
  let low = row.minimum === undefined ? usual[0] : row.minimum / size;
  let high = row.maximum === undefined ? Math.max(usual[1], value >= usual[1] ? 2 * value : 0) : row.maximum / size;
  if (high - low > 100000 || high <= low) high = Math.max(low + usual[1], 2 * value);
  return [Math.min(low, value), Math.max(high, value)];
}

/// Of the rows that say how much the camera takes in, for cameras without zoom: what the wheel found there first.
let fieldBefore = new Map();

/// By label and number: what is edited keeps its element, and so its focus.
const rows = new Map();

function valueControl(row) {
  const set = (text) => {
    fieldBefore.delete(row.name);
    send({settings: [[row.name, inChannelUnits(row, text)]]});
  };
  if (row.quantity === 'yes or no') {
    const box = make('input', {type: 'checkbox', ariaLabel: row.name});
    box.addEventListener('change', () => set(box.checked ? 'yes' : 'no'));
    return {elements: [box], show: (now) => { box.checked = now.shown === 'yes'; }};
  }
  if (row.quantity === 'choice') {
    const popup = make('select', {ariaLabel: row.name});
    let choices = [];
    // Two cameras may have one name: then its number says which.
    popup.addEventListener('change', () => {
      const text = choices[popup.selectedIndex];
      set(choices.filter((other) => other === text).length === 1 ? text : String(popup.selectedIndex));
    });
    return {elements: [popup], show: (now) => {
      if (JSON.stringify(choices) !== JSON.stringify(now.choices)) {
        choices = now.choices;
        popup.replaceChildren(...choices.map((text) => make('option', {textContent: text})));
      }
      popup.selectedIndex = Number(now.value);
    }};
  }
  if (isNumber(row)) {
    const [size, unit] = unitOf(row);
    const whole = row.quantity === 'whole number';
    const field = make('input', {className: 'field slid', type: 'number', step: 'any', ariaLabel: row.name + (unit && ', ' + unit)});
    const slider = make('input', {type: 'range', step: whole ? 1 : 'any', ariaLabel: row.name + ', slider'});
    field.addEventListener('change', () => { if (field.value !== '') set(field.value); });
    slider.addEventListener('input', () => {
      const [low, high] = [Number(slider.min), Number(slider.max)];
      const text = whole ? slider.value : shortNumber(Number(Number(slider.value).toFixed(high - low > 20 ? 1 : 3)));
      field.value = text;
      set(text);
    });
    if (!whole) {
      slider.addEventListener('keydown', (event) => {
        const way = {ArrowLeft: -1, ArrowDown: -1, ArrowRight: 1, ArrowUp: 1, PageDown: -10, PageUp: 10}[event.key];
        if (!way) return;
        event.preventDefault();
        slider.value = Number(slider.value) + way * (Number(slider.max) - Number(slider.min)) / 100;
        slider.dispatchEvent(new Event('input'));
      });
    }
    const mark = row.envelope ? [make('span', {className: 'e', textContent: 'E', title: 'This value has an envelope'})] : [];
    return {elements: [field, make('span', {className: 'unit', textContent: unit}), slider, ...mark], show: (now) => {
      const [low, high] = limitsOf(now);
      // A thumb that is held must not move its own ends.
      if (document.activeElement !== slider || Number(slider.min) > low || Number(slider.max) < high) {
        slider.min = low;
        slider.max = high;
      }
      if (document.activeElement !== slider) slider.value = Number(now.value) / size;
      if (document.activeElement !== field) field.value = shortNumber(Number(now.value) / size);
      for (const button of mark) button.classList.toggle('on', now.animated);
    }};
  }
  const text = make('span', {className: row.quantity === 'none' ? 'none' : ''});
  return {elements: [text], show: (now) => { text.textContent = now.shown; }};
}

function drawing(row) {
  const box = make('div', {className: 'drawing'});
  return {element: box, show: (now) => {
    const {source, width, height, texts} = now.drawing;
    if (box.firstChild?.src === source) return;
    const image = make('img', {src: source, width, height, alt: now.label});
    box.replaceChildren(image, ...texts.map(({text, x, y}) => {
      const label = make('span', {textContent: text});
      label.style.left = `${100 * x / width}%`;
      label.style.top = `${100 * y / height}%`;
      return label;
    }));
  }};
}

let panelKey = '';

function showPanel() {
  const key = JSON.stringify([state.choice.camera, state.server,
    state.rows.map((row) => [row.id, row.label, row.quantity, Boolean(row.drawing), row.divider])]);
  const panel = byId('panel');
  if (key !== panelKey) {
    panelKey = key;
    rows.clear();
    panel.replaceChildren(make('p', {className: 'panel-title',
      textContent: state.servers.find((server) => server.name === state.server)?.title ?? state.server}));
    for (const row of state.rows) {
      const control = row.drawing ? drawing(row) : valueControl(row);
      if (row.drawing) {
        panel.append(control.element);
      } else {
        const line = make('div', {className: 'row'}, make('span', {className: 'label', textContent: row.label}),
          make('span', {className: 'value'}, ...control.elements));
        line.dataset.label = row.label;
        panel.append(line);
      }
      if (row.divider) panel.append(make('hr'));
      rows.set(row.id, control);
    }
    if (!state.rows.length)
      panel.append(make('p', {className: 'none', textContent: 'The host\'s own camera has no panel here.'}));
  }
  for (const row of state.rows) {
    if (!joined && !sending && state.change >= sentChange) delete rows.get(row.id).wanted;
    rows.get(row.id).show(row);
  }
}

// --- What stands beside it.

function fill(select, texts, chosen) {
  const old = [...select.options].map((option) => option.textContent);
  if (JSON.stringify(old) !== JSON.stringify(texts)) select.replaceChildren(...texts.map((text) => make('option', {textContent: text})));
  select.selectedIndex = chosen;
}

const showIn = (field, value) => { if (document.activeElement !== field) field.value = value; };

function showState() {
  const {choice, frames} = state;
  fill(byId('camera'), state.cameras.map((camera) => camera.name), choice.camera);
  fill(byId('server'), state.servers.map((server) => server.title), state.servers.findIndex((server) => server.name === state.server));
  byId('eye').value = choice.eye;
  byId('gizmo').checked = choice.gizmo;
  showIn(byId('samples'), choice.samples);
  showIn(byId('width'), choice.size[0]);
  showIn(byId('height'), choice.size[1]);
  byId('timeline').min = Math.min(frames.first, choice.frame);
  byId('timeline').max = Math.max(frames.last, choice.frame);
  showIn(byId('timeline'), choice.frame);
  showIn(byId('time'), choice.frame);
  showView();
  showSceneChoices();
  showComparing();
  byId('command').value = state.command;
  tell(state.trouble);
  const warnings = byId('warnings');
  warnings.hidden = !state.warnings.length;
  warnings.querySelector('ul').replaceChildren(...state.warnings.map((text) => make('li', {textContent: text})));
  document.title = `${state.cameras[choice.camera]?.name ?? ''} – OviCam view`;
  showPanel();
  fitFrame();
}

/// The picture as large as there is room, in the frame's shape.
function fitFrame() {
  if (!state) return;
  const style = getComputedStyle(byId('stage'));
  // Above the panel instead of beside it, the picture leaves room for that.
  const isAbove = getComputedStyle(document.body).display === 'block';
  const room = [byId('stage').clientWidth - 2 * parseFloat(style.paddingLeft),
    isAbove ? 0.42 * innerHeight : byId('stage').clientHeight - 2 * parseFloat(style.paddingTop)];
  const [width, height] = byId('headset').hidden ? state.choice.size : [16, 9];
  const scale = Math.min(room[0] / width, room[1] / height);
  byId('frame').style.width = `${width * scale}px`;
  byId('frame').style.height = `${height * scale}px`;
}

function showProgress(coarseness) {
  const words = !connected ? 'The tool has ended; start it again' : refined ? '' : coarseness > 1 ? `1 : ${coarseness}` : 'refining';
  byId('progress').textContent = words;
}

async function fetchState() {
  state = await (await answerOf(await fetch('state'))).json();
  showState();
}

async function fetchPicture() {
  const response = await fetch('picture.png');
  if (response.status === 404) return;
  await answerOf(response);
  const image = byId('picture');
  const before = image.src;
  const blob = await response.blob();
  image.src = URL.createObjectURL(blob);
  await image.decode().catch(() => {});
  if (before.startsWith('blob:')) URL.revokeObjectURL(before);
  pictureNumber = Number(response.headers.get('Picture-Number'));
  shownChange = Number(response.headers.get('Picture-Change'));
  refined = response.headers.get('Picture-Refined') === 'yes' && shownChange >= sentChange;
  image.dataset.number = pictureNumber;
  image.dataset.change = shownChange;
  image.dataset.refined = refined ? 'yes' : 'no';
  showProgress(Number(response.headers.get('Picture-Coarseness')));
  if (!byId('headset').hidden) headset.show(image);
  await fetchPlain();
  pictureShown.splice(0).forEach((resolve) => resolve());
}

const pictureShown = [];
const nextPicture = () => new Promise((resolve) => { pictureShown.push(resolve); });

// --- News of the tool: only the newest is fetched, however many came meanwhile.

let news = {state: 0, picture: 0};
let following = false;

async function follow() {
  if (following) return;
  following = true;
  try {
    while (news.state !== stateNumber || news.picture !== pictureNumber) {
      const wanted = news;
      if (wanted.state !== stateNumber) await fetchState();
      stateNumber = wanted.state;
      if (wanted.picture !== pictureNumber) await fetchPicture();
      pictureNumber = Math.max(pictureNumber, wanted.picture);
      if (pictureNumber > news.picture) news.picture = pictureNumber;
    }
  } catch (error) {
    tell(error.message);
  }
  following = false;
}

const source = new EventSource('news');
source.addEventListener('message', (event) => {
  connected = true;
  news = JSON.parse(event.data);
  follow();
});
source.addEventListener('error', () => {
  connected = false;
  showProgress(1);
});

// --- What a person does.

byId('camera').addEventListener('change', (event) => {
  fieldBefore.clear();
  send({camera: event.target.selectedIndex});
});
byId('server').addEventListener('change', (event) => {
  fieldBefore.clear();
  send({server: state.servers[event.target.selectedIndex].name});
});
byId('eye').addEventListener('change', (event) => send({eye: event.target.value}));
byId('gizmo').addEventListener('change', (event) => send({gizmo: event.target.checked}));

const wholeNumber = (field) => Math.min(Number(field.max || Infinity), Math.max(Number(field.min || -Infinity), Math.round(Number(field.value))));
byId('samples').addEventListener('change', (event) => send({samples: wholeNumber(event.target)}));
for (const id of ['width', 'height'])
  byId(id).addEventListener('change', () => send({size: [wholeNumber(byId('width')), wholeNumber(byId('height'))]}));
byId('time').addEventListener('change', (event) => send({frame: wholeNumber(event.target)}));
byId('timeline').addEventListener('input', (event) => {
  byId('time').value = event.target.value;
  send({frame: Number(event.target.value)});
});
byId('reset').addEventListener('click', () => {
  fieldBefore.clear();
  send({reset: true});
});

let playing = false;
async function play() {
  while (playing && connected) {
    const {first, last, per_second: perSecond} = state.frames;
    const start = performance.now();
    const shown = nextPicture();
    const frame = state.choice.frame >= last ? first : state.choice.frame + 1;
    await send({frame});
    state.choice.frame = frame;
    // The next frame waits for the picture of this one.
    await Promise.race([shown, new Promise((resolve) => { setTimeout(resolve, 2000); })]);
    await new Promise((resolve) => { setTimeout(resolve, Math.max(0, 1000 / perSecond - (performance.now() - start))); });
  }
}
byId('play').addEventListener('click', () => {
  playing = !playing;
  byId('play').textContent = playing ? 'Pause' : 'Play';
  byId('play').ariaPressed = String(playing);
  if (playing) play();
});

/// The refined picture, whatever it takes.
async function refinedPicture(name = 'picture.png') {
  while (!refined || shownChange < sentChange || joined || sending) {
    if (!connected) throw new Error('The tool has ended; start it again');
    await Promise.race([nextPicture(), new Promise((resolve) => { setTimeout(resolve, 1000); })]);
  }
  const response = await answerOf(await fetch(name));
  return response.headers.get('Picture-Refined') === 'yes' ? response.blob() : refinedPicture(name);
}

for (const [id, name] of [['save', 'picture.png'], ['save-exr', 'picture.exr']]) {
  byId(id).addEventListener('click', async () => {
    const button = byId(id);
    const text = button.textContent;
    button.disabled = true;
    button.textContent = 'Refining …';
    try {
      const link = make('a', {href: URL.createObjectURL(await refinedPicture(name)), download: name});
      link.click();
      setTimeout(() => URL.revokeObjectURL(link.href), 10000);
    } catch (error) {
      tell(error.message);
    }
    button.disabled = false;
    button.textContent = text;
  });
}

// --- Keeping the scene.

const tellOfScene = (sentence, isWrong = false) => {
  byId('scene-told').textContent = sentence;
  byId('scene-told').classList.toggle('wrong', isWrong);
};

function showSceneChoices() {
  const {choice} = state;
  const [width, height] = choice.size;
  byId('with-size').hidden = width === state.scene_size[0] && height === state.scene_size[1];
  byId('with-size').lastElementChild.textContent = `with this frame size, ${width} × ${height}`;
  byId('with-turn').hidden = choice.turn.every((angle) => angle === 0) && choice.zoom === 1;
  byId('save-exr').disabled = choice.gizmo;
  const file = state.scene.split(/[\\/]/).pop();
  byId('scene-name').placeholder = file.replace(/(\.lws)?$/i, '-lens.lws');
  if (!byId('scene-told').textContent)
    tellOfScene(`Beside ${file}: with this camera's type and panel as they are here, and all else as it was.`);
}

async function saveScene(replace) {
  const field = byId('scene-name');
  if (!field.value) field.value = field.placeholder;
  byId('save-scene').disabled = byId('replace-scene').disabled = true;
  try {
    // What was changed last belongs to it.
    while (sending) await sending;
    const wanted = (id) => byId(id).checked && !byId(id).parentElement.hidden;
    const body = JSON.stringify({name: field.value, replace, frame_size: wanted('scene-size'), turn: wanted('scene-turn')});
    const response = await fetch('scene', {method: 'POST', headers: {'Content-Type': 'application/json'}, body});
    const asks = response.status === 409;
    byId('replace-scene').hidden = !asks;
    if (asks) {
      tellOfScene(`There is a file ${field.value} already. Give another name, or replace it.`);
      byId('replace-scene').disabled = false;
      byId('replace-scene').focus();
    } else {
      tellOfScene(`Saved: ${(await (await answerOf(response)).json()).file}`);
    }
  } catch (error) {
    tellOfScene(error.message, true);
  }
  byId('save-scene').disabled = byId('replace-scene').disabled = false;
}
byId('save-scene').addEventListener('click', () => saveScene(false));
byId('replace-scene').addEventListener('click', () => saveScene(true));
byId('scene-name').addEventListener('input', () => { byId('replace-scene').hidden = true; });
byId('scene-name').addEventListener('keydown', (event) => { if (event.key === 'Enter') saveScene(false); });

// --- Comparing: what is compared with lies over the present picture, to the left of a line.

/// Whether a picture was kept; otherwise it may be the plain perspective.
let keeps = false;

function showSplit() {
  const share = Number(byId('share').value);
  byId('kept').style.clipPath = `inset(0 ${100 - share}% 0 0)`;
  byId('split').style.left = `${share}%`;
}
byId('share').addEventListener('input', showSplit);

function showComparing() {
  const is = keeps || (state.choice.compare && !state.choice.gizmo && byId('kept').hasAttribute('src'));
  for (const id of ['kept', 'split', 'splitter']) byId(id).hidden = !is;
  byId('keep').textContent = keeps ? 'Stop comparing' : 'Keep for comparing';
  byId('keep').ariaPressed = String(keeps);
  byId('plain').textContent = state.choice.compare ? 'Stop comparing' : 'Compare with perspective';
  byId('plain').ariaPressed = String(state.choice.compare);
  showSplit();
}

async function setKept(blob) {
  const kept = byId('kept');
  const before = kept.getAttribute('src');
  if (blob) {
    kept.src = URL.createObjectURL(blob);
    await kept.decode().catch(() => {});
  } else {
    kept.removeAttribute('src');
  }
  if (before) URL.revokeObjectURL(before);
}

/// With every picture comes the perspective of the same moment.
async function fetchPlain() {
  if (keeps || !state?.choice.compare || state.choice.gizmo) return;
  const response = await fetch('plain.png');
  if (!response.ok) return;
  await setKept(await response.blob());
  byId('kept').dataset.refined = response.headers.get('Picture-Refined');
  showComparing();
}

byId('plain').addEventListener('click', async () => {
  const compare = !state.choice.compare;
  keeps = false;
  await setKept(null);
  state.choice.compare = compare;
  showComparing();
  send({compare});
});

byId('keep').addEventListener('click', async () => {
  const button = byId('keep');
  button.disabled = true;
  try {
    const picture = keeps ? null : await refinedPicture();
    if (state.choice.compare) {
      state.choice.compare = false;
      send({compare: false});
    }
    await setKept(picture);
    keeps = !keeps;
    showComparing();
  } catch (error) {
    tell(error.message);
  }
  button.disabled = false;
});

byId('copy').addEventListener('click', async () => {
  try {
    await navigator.clipboard.writeText(state.command);
    byId('copy').textContent = 'Copied';
    setTimeout(() => { byId('copy').textContent = 'Copy as command'; }, 1500);
  } catch {
    byId('command').select();
    tell('The browser does not let a page copy here; the command is selected: copy it with Ctrl+C');
  }
});

// --- Looking around. What is asked for runs ahead of the state, which comes with the picture.

let view = {heading: 0, pitch: 0, bank: 0, zoom: 1};
const rounded = (number, digits) => Number(number.toFixed(digits));

function showView() {
  const {turn, zoom} = state.choice;
  if (!joined && !sending && !held && state.change >= sentChange) view = {heading: turn[0], pitch: turn[1], bank: turn[2], zoom};
  showIn(byId('heading'), view.heading);
  showIn(byId('pitch'), view.pitch);
  showIn(byId('zoom'), view.zoom);
  byId('wear').hidden = !state.full_sphere || state.choice.gizmo;
  if (byId('wear').hidden && !byId('headset').hidden) wear(false);
}

function lookAround(change) {
  const next = {...view, ...change};
  next.heading = rounded(((next.heading + 180) % 360 + 360) % 360 - 180, 3);
  next.pitch = rounded(Math.min(180, Math.max(-180, next.pitch)), 3);
  next.zoom = Number(Math.min(1000, Math.max(0.001, next.zoom)).toPrecision(5));
  view = next;
  for (const name of ['heading', 'pitch', 'zoom']) showIn(byId(name), next[name]);
  send({turn: [next.heading, next.pitch, next.bank], zoom: next.zoom});
}

const fieldRows = () => state.rows.filter((row) => row.quantity === 'angle' && /\bFOV\b|field of view/i.test(row.label));

/// In by factors above 1. A camera that has its field of view on its panel does not follow the zoom.
function zoomBy(factor) {
  const fields = fieldRows();
  if (!fields.length) {
    lookAround({zoom: view.zoom * factor});
    return;
  }
  const settings = [];
  for (const row of fields) {
    const now = Number(rows.get(row.id).wanted ?? Number(row.value) / unitOf(row)[0]);
    if (!fieldBefore.has(row.name)) fieldBefore.set(row.name, [row.id, shortNumber(now)]);
    // Beyond a whole turn, only what was turned there already.
    const [low, high] = [Math.max(row.minimum ?? -Infinity, -2 * Math.PI), Math.min(row.maximum ?? Infinity, 2 * Math.PI)]
      .map((limit) => limit / unitOf(row)[0]);
    const next = shortNumber(Number(Math.min(Math.max(high, now), Math.max(Math.min(low, now), now / factor)).toFixed(3)));
    rows.get(row.id).wanted = next;
    settings.push([row.name, inChannelUnits(row, next)]);
  }
  send({settings});
}

function resetView() {
  const settings = [];
  for (const [name, [id, text]] of fieldBefore) {
    const row = state.rows.find((each) => each.id === id);
    if (row) settings.push([name, inChannelUnits(row, text)]);
  }
  for (const control of rows.values()) delete control.wanted;
  fieldBefore.clear();
  if (settings.length) send({settings});
  lookAround({heading: 0, pitch: 0, bank: 0, zoom: 1});
}

byId('level').addEventListener('click', resetView);
for (const name of ['heading', 'pitch', 'zoom']) {
  byId(name).addEventListener('change', (event) => {
    if (event.target.value !== '') lookAround({[name]: Number(event.target.value)});
  });
}

// --- A full sphere as a headset shows it.

let headset = null;

function wear(wanted) {
  byId('headset').hidden = !wanted;
  byId('wear').ariaPressed = String(wanted);
  byId('wear').textContent = wanted ? 'Show the whole sphere' : 'Look as a headset';
  byId('around-hint').hidden = wanted;
  byId('worn-hint').hidden = !wanted;
  fitFrame();
  if (!wanted) return;
  for (const id of ['cross', 'back']) byId(id).hidden = true;
  headset ??= new SphereViewer(byId('headset'));
  headset.show(byId('picture'));
  byId('headset').focus({preventScroll: true});
}
byId('wear').addEventListener('click', () => wear(byId('headset').hidden));

// --- What is under the pointer.

let pointer = null;
let looking = false;

const three = (numbers, unit) => numbers.map((number) => number.toFixed(3)).join(', ') + unit;
const placeMark = (mark, pixel) => {
  const [width, height] = state.choice.size;
  mark.hidden = !pixel || pixel[0] < 0 || pixel[1] < 0 || pixel[0] > width || pixel[1] > height;
  if (mark.hidden) return;
  mark.style.left = `${100 * pixel[0] / width}%`;
  mark.style.top = `${100 * pixel[1] / height}%`;
};

function showLook(at, seen) {
  const entries = [['Pixel', at.map((number) => number.toFixed(1)).join(', ')],
    ['Film position', seen.film.map((number) => (1000 * number).toFixed(3)).join(', ') + ' mm']];
  if (seen.position) {
    entries.push(['Ray from', three(seen.position, ' m')], ['Ray direction', three(seen.direction, '')]);
  } else {
    entries.push(['Ray', 'none: the camera sees nothing here']);
  }
  if (seen.hit) {
    entries.push(['World point', `${three(seen.hit, ' m')}, ${seen.distance.toFixed(2)} m away`]);
    entries.push(['Projects back to', seen.projected
      ? `${seen.projected.map((number) => (1000 * number).toFixed(3)).join(', ')} mm` +
        (seen.projected_pixel ? `, pixel ${seen.projected_pixel.map((number) => number.toFixed(1)).join(', ')}` : '')
      : 'nowhere: this camera does not project it']);
  } else if (seen.position) {
    entries.push(['World point', 'none: the sky']);
  }
  byId('look').replaceChildren(...entries.flatMap(([name, text]) => [make('dt', {textContent: name}), make('dd', {textContent: text})]));
  placeMark(byId('back'), seen.projected_pixel);
}

async function look() {
  if (looking || state.choice.gizmo) return;
  looking = true;
  while (pointer) {
    const at = pointer;
    pointer = null;
    try {
      showLook(at, await (await answerOf(await fetch(`look?x=${at[0]}&y=${at[1]}`))).json());
    } catch (error) {
      byId('look').replaceChildren(make('dt', {textContent: error.message}));
    }
  }
  looking = false;
}

const picture = byId('picture');
/// What a drag began with.
let held = null;

picture.addEventListener('pointerdown', (event) => {
  if (!state || event.button !== 0 || state.choice.gizmo) return;
  held = {x: event.clientX, y: event.clientY, heading: view.heading, pitch: view.pitch};
  picture.classList.add('held');
  try {
    picture.setPointerCapture(event.pointerId);
  } catch { /* The pointer is gone already. */ }
});
for (const name of ['pointerup', 'pointercancel']) {
  picture.addEventListener(name, () => {
    held = null;
    picture.classList.remove('held');
  });
}
picture.addEventListener('dragstart', (event) => event.preventDefault());
picture.addEventListener('wheel', (event) => {
  if (!state || state.choice.gizmo) return;
  event.preventDefault();
  const pixels = event.deltaY * (event.deltaMode === WheelEvent.DOM_DELTA_LINE ? 20 : 1);
  zoomBy(Math.exp(-pixels / 800));
}, {passive: false});

picture.addEventListener('pointermove', (event) => {
  if (!state) return;
  if (held) {
    // What is in the middle of the picture goes with the pointer.
    const degrees = (state.degrees_per_height ?? 60) / Math.max(1, picture.clientHeight);
    lookAround({heading: held.heading - (event.clientX - held.x) * degrees, pitch: held.pitch - (event.clientY - held.y) * degrees});
    return;
  }
  const box = picture.getBoundingClientRect();
  const [width, height] = state.choice.size;
  pointer = [Math.min(width, Math.max(0, (event.clientX - box.left) / box.width * width)),
    Math.min(height, Math.max(0, (event.clientY - box.top) / box.height * height))];
  byId('cross').hidden = true;
  look();
});

let keyed = null;
picture.addEventListener('keydown', (event) => {
  if (state && !state.choice.gizmo && !event.ctrlKey && !event.altKey && !event.metaKey) {
    const step = (state.degrees_per_height ?? 60) / (event.shiftKey ? 200 : 20);
    const act = {
      a: () => lookAround({heading: view.heading - step}),
      d: () => lookAround({heading: view.heading + step}),
      w: () => lookAround({pitch: view.pitch - step}),
      s: () => lookAround({pitch: view.pitch + step}),
      '+': () => zoomBy(1.1),
      '=': () => zoomBy(1.1),
      '-': () => zoomBy(1 / 1.1),
      home: resetView,
    }[event.key.toLowerCase()];
    if (act) {
      event.preventDefault();
      act();
      return;
    }
  }
  const way = {ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1]}[event.key];
  if (!way || !state) return;
  event.preventDefault();
  const [width, height] = state.choice.size;
  const step = event.shiftKey ? 1 : Math.max(1, Math.round(width / 40));
  keyed ??= [width / 2, height / 2];
  keyed = [Math.min(width, Math.max(0, keyed[0] + step * way[0])), Math.min(height, Math.max(0, keyed[1] + step * way[1]))];
  placeMark(byId('cross'), keyed);
  pointer = keyed;
  look();
});

addEventListener('resize', fitFrame);
