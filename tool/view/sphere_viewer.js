'use strict';

/// Shows a picture of the whole sphere as a headset would: as much of it as one view takes in, in perspective.
///
/// The picture is equirectangular, 360 by 180 degrees, with the camera's own axis in its middle: across it the azimuth grows
/// evenly, from top to bottom the elevation falls evenly. Drag, or the arrow keys, look around; the wheel, or + and -, zoom;
/// Home looks along the axis again. The wheel and the keys work while the canvas has the focus, so that a page can be scrolled
/// past it. Needs nothing else of a page:
///
///   const viewer = new SphereViewer(canvas, image);   // image: an <img>, loaded or not, or a canvas or bitmap
///   viewer.show(otherImage);                          // looks on in the same direction
///   viewer.look({headingDegrees: 90, pitchDegrees: 0, fieldDegrees: 75});
///   viewer.close();
///
/// The canvas has the size that the page's style gives it. `touch-action: none` there lets a finger look up and down, `pan-y`
/// lets it scroll the page. Of a page that is opened as a file, browsers let only pictures be read that are in the page
/// itself (data: addresses). Where a picture cannot be shown so, the canvas says why.
class SphereViewer {
  /// Looks to the right by the heading and up by the pitch, with the field of view from the canvas's lower edge to its upper.
  headingDegrees = 0;
  pitchDegrees = 0;
  fieldDegrees = 75;
  /// Called after every change of these by the person.
  onlook = null;

  static leastFieldDegrees = 10;
  static greatestFieldDegrees = 130;

  #canvas;
  #gl = null;
  #places = {};
  #image = null;
  /// In pixels, as the graphics unit has it; 0 for none.
  #pictureWidth = 0;
  #drawIsPlanned = false;
  #grips = new Map();
  #ending = new AbortController();
  #sizes = new ResizeObserver(() => this.#planDraw());

  constructor(canvas, image = null, view = {}) {
    this.#canvas = canvas;
    canvas.tabIndex = 0;
    canvas.setAttribute('role', 'img');
    if (!canvas.ariaLabel) canvas.ariaLabel = 'The picture, seen from its middle: drag or use the arrow keys to look around';
    const listen = (name, act) => canvas.addEventListener(name, act, {signal: this.#ending.signal, passive: false});
    listen('pointerdown', (event) => this.#grip(event));
    listen('pointermove', (event) => this.#drag(event));
    for (const name of ['pointerup', 'pointercancel']) listen(name, (event) => this.#grips.delete(event.pointerId));
    listen('wheel', (event) => this.#turnWheel(event));
    listen('keydown', (event) => this.#press(event));
    listen('webglcontextlost', (event) => event.preventDefault());
    listen('webglcontextrestored', () => {
      this.#prepare();
      if (this.#image) this.show(this.#image);
    });
    this.#sizes.observe(canvas);
    this.look(view);
    if (image) this.show(image);
  }

  /// Takes another picture, as soon as it is loaded.
  show(image) {
    this.#image = image;
    if (image instanceof HTMLImageElement && !(image.complete && image.naturalWidth)) {
      const again = () => { if (this.#image === image) this.show(image); };
      image.addEventListener('load', again, {once: true, signal: this.#ending.signal});
      return;
    }
    this.#pictureWidth = 0;
    if (!SphereViewer.#canBeRead(image)) {
      this.#say('The browser does not let this page read its picture: open the page from a server');
      return;
    }
    if (!this.#gl) {
      this.#gl = this.#canvas.getContext('webgl2');
      if (!this.#gl) {
        this.#say('This browser has no WebGL 2, which looking around needs');
        return;
      }
      this.#prepare();
    }
    this.#upload(image);
    this.#planDraw();
  }

  /// What is not given stays as it is.
  look({headingDegrees = this.headingDegrees, pitchDegrees = this.pitchDegrees, fieldDegrees = this.fieldDegrees}) {
    this.headingDegrees = ((headingDegrees + 180) % 360 + 360) % 360 - 180;
    this.pitchDegrees = Math.min(90, Math.max(-90, pitchDegrees));
    this.fieldDegrees = Math.min(SphereViewer.greatestFieldDegrees, Math.max(SphereViewer.leastFieldDegrees, fieldDegrees));
    this.#planDraw();
  }

  /// At once, for whoever reads the canvas.
  draw() {
    const gl = this.#gl;
    this.#drawIsPlanned = false;
    if (!gl || gl.isContextLost() || !this.#pictureWidth) return;
    const canvas = this.#canvas;
    const width = Math.max(1, Math.round(canvas.clientWidth * devicePixelRatio));
    const height = Math.max(1, Math.round(canvas.clientHeight * devicePixelRatio));
    if (canvas.width !== width || canvas.height !== height) Object.assign(canvas, {width, height});
    gl.viewport(0, 0, width, height);
    const half = Math.tan(this.fieldDegrees * Math.PI / 360);
    const [heading, pitch] = [this.headingDegrees, this.pitchDegrees].map((degrees) => degrees * Math.PI / 180);
    gl.uniform2f(this.#places.half, half * width / height, half);
    gl.uniform2f(this.#places.turn, heading, pitch);
    // So that what is smaller on the canvas than in the picture does not flicker.
    const texelsPerPixel = this.#pictureWidth / (2 * Math.PI) * 2 * half / height;
    gl.uniform1f(this.#places.level, Math.max(0, Math.log2(texelsPerPixel)));
    gl.drawArrays(gl.TRIANGLES, 0, 3);
  }

  /// Shows nothing any more and gives up what the graphics unit holds; the canvas is of no further use.
  close() {
    this.#ending.abort();
    this.#sizes.disconnect();
    this.#pictureWidth = 0;
    this.#gl?.getExtension('WEBGL_lose_context')?.loseContext();
  }

  static #canBeRead(image) {
    const scratch = Object.assign(document.createElement('canvas'), {width: 1, height: 1}).getContext('2d');
    scratch.drawImage(image, 0, 0, 1, 1);
    try {
      scratch.getImageData(0, 0, 1, 1);
      return true;
    } catch {
      return false;
    }
  }

  #prepare() {
    const gl = this.#gl;
    const program = gl.createProgram();
    const attach = (kind, text) => {
      const shader = gl.createShader(kind);
      gl.shaderSource(shader, `#version 300 es\nprecision highp float;\n${text}`);
      gl.compileShader(shader);
      gl.attachShader(program, shader);
    };
    // One triangle that covers everything.
    attach(gl.VERTEX_SHADER, `
      uniform vec2 half_view;
      out vec2 at;
      void main() {
        vec2 corner = vec2(gl_VertexID == 1 ? 3.0 : -1.0, gl_VertexID == 2 ? 3.0 : -1.0);
        at = corner * half_view;
        gl_Position = vec4(corner, 0.0, 1.0);
      }`);
    attach(gl.FRAGMENT_SHADER, `
      const float pi = 3.14159265358979;
      uniform vec2 turn;
      uniform float level;
      uniform sampler2D picture;
      in vec2 at;
      out vec4 color;
      void main() {
        float c = cos(turn.y), s = sin(turn.y);
        vec3 ahead = normalize(vec3(at.x, at.y * c + s, c - at.y * s));
        float azimuth = atan(ahead.x, ahead.z) + turn.x;
        float elevation = asin(clamp(ahead.y, -1.0, 1.0));
        color = textureLod(picture, vec2(0.5 + azimuth / (2.0 * pi), 0.5 - elevation / pi), level);
      }`);
    gl.linkProgram(program);
    gl.useProgram(program);
    for (const [name, uniform] of [['half', 'half_view'], ['turn', 'turn'], ['level', 'level']])
      this.#places[name] = gl.getUniformLocation(program, uniform);
    gl.bindTexture(gl.TEXTURE_2D, gl.createTexture());
    gl.texParameteri(gl.TEXTURE_2D, gl.TEXTURE_WRAP_S, gl.REPEAT);
    gl.texParameteri(gl.TEXTURE_2D, gl.TEXTURE_WRAP_T, gl.CLAMP_TO_EDGE);
    gl.texParameteri(gl.TEXTURE_2D, gl.TEXTURE_MIN_FILTER, gl.LINEAR_MIPMAP_LINEAR);
  }

  #upload(image) {
    const gl = this.#gl;
    const [width, height] = [image.naturalWidth ?? image.width, image.naturalHeight ?? image.height];
    const most = gl.getParameter(gl.MAX_TEXTURE_SIZE);
    let source = image;
    if (width > most || height > most) {
      source = Object.assign(document.createElement('canvas'), {width: Math.min(width, most), height: Math.min(height, most)});
      source.getContext('2d').drawImage(image, 0, 0, source.width, source.height);
    }
    gl.texImage2D(gl.TEXTURE_2D, 0, gl.RGBA, gl.RGBA, gl.UNSIGNED_BYTE, source);
    gl.generateMipmap(gl.TEXTURE_2D);
    this.#pictureWidth = Math.min(width, most);
  }

  /// In place of the picture.
  #say(sentence) {
    const canvas = this.#canvas;
    canvas.ariaLabel = sentence;
    canvas.title = sentence;
    const context = this.#gl ? null : canvas.getContext('2d');
    if (!context) return;
    Object.assign(canvas, {width: canvas.clientWidth, height: canvas.clientHeight});
    Object.assign(context, {font: '14px sans-serif', textAlign: 'center', fillStyle: '#888'});
    context.fillText(sentence, canvas.width / 2, canvas.height / 2, canvas.width - 16);
  }

  #planDraw() {
    if (this.#drawIsPlanned) return;
    this.#drawIsPlanned = true;
    requestAnimationFrame(() => { if (this.#drawIsPlanned) this.draw(); });
  }

  #lookAsked(view) {
    this.look(view);
    this.onlook?.(this);
  }

  #grip(event) {
    if (event.button !== 0) return;
    this.#grips.set(event.pointerId, [event.clientX, event.clientY]);
    try {
      this.#canvas.setPointerCapture(event.pointerId);
    } catch { /* The pointer is gone already. */ }
  }

  #distance() {
    const [[ax, ay], [bx, by]] = this.#grips.values();
    return Math.max(1, Math.hypot(ax - bx, ay - by));
  }

  /// One pointer takes the picture along; two that part zoom in.
  #drag(event) {
    const from = this.#grips.get(event.pointerId);
    if (!from) return;
    const to = [event.clientX, event.clientY];
    if (this.#grips.size === 2) {
      const before = this.#distance();
      this.#grips.set(event.pointerId, to);
      this.#lookAsked({fieldDegrees: this.fieldDegrees * before / this.#distance()});
      return;
    }
    this.#grips.set(event.pointerId, to);
    const degreesPerPixel = this.fieldDegrees / Math.max(1, this.#canvas.clientHeight);
    this.#lookAsked({headingDegrees: this.headingDegrees - (to[0] - from[0]) * degreesPerPixel,
      pitchDegrees: this.pitchDegrees + (to[1] - from[1]) * degreesPerPixel});
  }

  #turnWheel(event) {
    if (document.activeElement !== this.#canvas) return;
    event.preventDefault();
    const pixels = event.deltaY * (event.deltaMode === WheelEvent.DOM_DELTA_LINE ? 20 : 1);
    this.#lookAsked({fieldDegrees: this.fieldDegrees * Math.exp(pixels / 800)});
  }

  #press(event) {
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    const step = this.fieldDegrees / 15;
    const {headingDegrees, pitchDegrees, fieldDegrees} = this;
    const view = {
      ArrowLeft: {headingDegrees: headingDegrees - step},
      ArrowRight: {headingDegrees: headingDegrees + step},
      ArrowUp: {pitchDegrees: pitchDegrees + step},
      ArrowDown: {pitchDegrees: pitchDegrees - step},
      '+': {fieldDegrees: fieldDegrees / 1.15},
      '=': {fieldDegrees: fieldDegrees / 1.15},
      '-': {fieldDegrees: fieldDegrees * 1.15},
      Home: {headingDegrees: 0, pitchDegrees: 0, fieldDegrees: 75},
    }[event.key];
    if (!view) return;
    event.preventDefault();
    this.#lookAsked(view);
  }
}
