// The camera in space: its lenses where the calibration says, lit as their frames are filed, LED 0, the button.
//
// The camera's own axes here: z out of its front, x to its left, y up. It is turned as it is held: by its heading about
// the vertical, then front down, then left side up. Drawn anew only when something has changed.
import * as THREE from '/three/three.module.js';
import { act, on, onTables } from './link.js';
import { byId, throttled } from './dom.js';

const kRadians = Math.PI / 180;
const kBody = 1, kCollarTop = -0.86, kCollarBottom = -1.34, kCollar = 0.5;
const kLens = 0.165;
const kMiddle = -0.48;  // the height that is looked at: the collar and what lies over the picture take the lower part
const kSlowMilliseconds = 700, kFlashMilliseconds = 900;
const kNearest = 3, kFarthest = 9;

const colourOf = ({ lit, red, green, blue }) => (lit ? new THREE.Color(red ? 1 : 0, green ? 1 : 0, blue ? 1 : 0) : new THREE.Color(0));

export function directionOf({ azimuth, elevation }) {
  const [a, e] = [azimuth * kRadians, elevation * kRadians];
  return new THREE.Vector3(-Math.sin(a) * Math.cos(e), Math.sin(e), Math.cos(a) * Math.cos(e));
}

function drawn(width, height, draw) {
  const canvas = document.createElement('canvas');
  canvas.width = width;
  canvas.height = height;
  draw(canvas.getContext('2d'), width, height);
  const texture = new THREE.CanvasTexture(canvas);
  texture.anisotropy = 4;
  return texture;
}

function makeLens(lens) {
  const group = new THREE.Group();
  const rim = new THREE.Mesh(new THREE.CylinderGeometry(kLens, kLens * 1.13, 0.09, 40),
    new THREE.MeshStandardMaterial({ color: 0x15181d, roughness: 0.45, metalness: 0.7 }));
  const ring = new THREE.Mesh(new THREE.TorusGeometry(kLens * 0.86, 0.014, 12, 48),
    new THREE.MeshStandardMaterial({ color: 0x9aa4b2, roughness: 0.25, metalness: 0.9 }));
  ring.rotation.x = Math.PI / 2;
  ring.position.y = 0.047;
  const glass = new THREE.Mesh(new THREE.SphereGeometry(kLens * 1.25, 32, 12, 0, 2 * Math.PI, 0, 0.72),
    new THREE.MeshPhysicalMaterial({ color: 0x010206, roughness: 0.08, metalness: 0.2, clearcoat: 1, reflectivity: 0.6 }));
  glass.position.y = 0.045 - kLens * 1.25 * Math.cos(0.72);
  group.add(rim, ring, glass);
  const direction = directionOf(lens);
  group.position.copy(direction).multiplyScalar(kBody + 0.005);
  group.quaternion.setFromUnitVectors(new THREE.Vector3(0, 1, 0), direction);
  group.userData = { camera: lens.camera, glass, ring };
  return group;
}

function makeBody(camera) {
  const skin = new THREE.MeshStandardMaterial({ color: 0x1b1f25, roughness: 0.5, metalness: 0.35 });
  camera.add(new THREE.Mesh(new THREE.SphereGeometry(kBody, 64, 48), skin));
  const collar = new THREE.Mesh(new THREE.CylinderGeometry(kCollar, kCollar * 0.92, kCollarTop - kCollarBottom, 64), skin);
  collar.position.y = (kCollarTop + kCollarBottom) / 2;
  const foot = new THREE.Mesh(new THREE.CylinderGeometry(kCollar * 0.93, kCollar * 0.93, 0.05, 64),
    new THREE.MeshStandardMaterial({ color: 0x0e1013, roughness: 0.8 }));
  foot.position.y = kCollarBottom;
  camera.add(collar, foot);
}

// Button and LED on the front of the collar.
function makeFront(camera) {
  const face = kCollar - 0.005, height = -1.12;
  const seat = new THREE.Mesh(new THREE.CylinderGeometry(0.115, 0.115, 0.03, 40),
    new THREE.MeshStandardMaterial({ color: 0x0f1114, roughness: 0.5, metalness: 0.6 }));
  const button = new THREE.Mesh(new THREE.CylinderGeometry(0.088, 0.092, 0.07, 40),
    new THREE.MeshStandardMaterial({ color: 0xd9dde3, roughness: 0.3, metalness: 0.55 }));
  for (const part of [seat, button]) {
    part.rotation.x = Math.PI / 2;
    part.position.set(0, height, face);
  }
  const lamp = new THREE.Mesh(new THREE.SphereGeometry(0.034, 24, 16),
    new THREE.MeshStandardMaterial({ color: 0x22262c, roughness: 0.35, emissive: 0 }));
  lamp.position.set(0, height + 0.19, face + 0.012);
  const glow = new THREE.Sprite(new THREE.SpriteMaterial({ blending: THREE.AdditiveBlending, depthWrite: false,
    map: drawn(128, 128, (context, size) => {
      const fade = context.createRadialGradient(size / 2, size / 2, 0, size / 2, size / 2, size / 2);
      fade.addColorStop(0, 'rgba(255,255,255,0.9)');
      fade.addColorStop(0.25, 'rgba(255,255,255,0.35)');
      fade.addColorStop(1, 'rgba(255,255,255,0)');
      context.fillStyle = fade;
      context.fillRect(0, 0, size, size);
    }) }));
  glow.scale.setScalar(0.5);
  glow.position.copy(lamp.position).add(new THREE.Vector3(0, 0, 0.04));
  camera.add(seat, button, lamp, glow);
  return { button, lamp, glow, out: face + 0.02, pressed: face - 0.012 };
}

// The floor: a shadow, and where north is.
function makeFloor() {
  return new THREE.Mesh(new THREE.PlaneBufferGeometry(7, 7), new THREE.MeshBasicMaterial({ transparent: true, depthWrite: false,
    map: drawn(1024, 1024, (context, size) => {
      const middle = size / 2;
      const fade = context.createRadialGradient(middle, middle, 10, middle, middle, middle * 0.45);
      fade.addColorStop(0, 'rgba(0,0,0,0.55)');
      fade.addColorStop(1, 'rgba(0,0,0,0)');
      context.fillStyle = fade;
      context.fillRect(0, 0, size, size);
      context.translate(middle, middle);
      context.strokeStyle = context.fillStyle = 'rgba(128,140,156,0.75)';
      context.font = '600 44px sans-serif';
      context.textAlign = 'center';
      context.textBaseline = 'middle';
      for (let degrees = 0; degrees < 360; degrees += 10) {
        context.save();
        context.rotate(degrees * kRadians);
        context.lineWidth = degrees % 90 ? 2 : 5;
        context.beginPath();
        context.moveTo(0, -middle * 0.8);
        context.lineTo(0, -middle * (degrees % 30 ? 0.78 : 0.755));
        context.stroke();
        if (degrees % 90 === 0) {
          context.fillStyle = degrees ? 'rgba(128,140,156,0.85)' : '#e8663c';
          context.fillText('NESW'[degrees / 90], 0, -middle * 0.88);
        }
        context.restore();
      }
    }) }));
}

// Whether there are no graphics, and every pixel costs the processor. Then it is left time for the rest of the page.
function drawnByProcessor() {
  const gl = document.createElement('canvas').getContext('webgl');
  const told = gl?.getExtension('WEBGL_debug_renderer_info');
  return Boolean(told && /swiftshader|llvmpipe|softpipe|software/i.test(gl.getParameter(told.UNMASKED_RENDERER_WEBGL)));
}

class View {
  constructor(canvas) {
    this.canvas = canvas;
    this.slow = drawnByProcessor();
    this.renderer = new THREE.WebGLRenderer({ canvas, antialias: !this.slow, alpha: true });
    this.renderer.gammaOutput = true;
    this.renderer.gammaFactor = 2.2;
    this.scene = new THREE.Scene();
    this.eye = new THREE.PerspectiveCamera(32, 1, 0.1, 60);
    this.around = { azimuth: 22, elevation: 10, distance: 6.2 };
    this.camera = new THREE.Group();
    this.camera.rotation.order = 'YXZ';
    this.lenses = new Map();
    makeBody(this.camera);
    this.front = makeFront(this.camera);
    const floor = makeFloor();
    floor.rotation.set(-Math.PI / 2, 0, Math.PI);  // its north lies where the front of a camera without heading looks
    floor.position.y = -1.42;
    this.scene.add(this.camera, floor, new THREE.HemisphereLight(0xdfe9ff, 0x2a2622, 0.55));
    for (const [colour, strength, x, y, z] of [[0xfff4e2, 0.95, 2.5, 4, 3.5], [0x9db8ff, 0.55, -4, 1.5, -2], [0xffffff, 0.3, -2, 2, 4]]) {
      const light = new THREE.DirectionalLight(colour, strength);
      light.position.set(x, y, z);
      this.scene.add(light);
    }
    this.dirty = true;
    this.restUntil = this.drawnAt = 0;
    this.flash = new Map();  // camera: when its lens was lit, for the fading
    new ResizeObserver(() => this.resize()).observe(canvas.parentElement);
    this.resize();
    const frame = () => {
      requestAnimationFrame(frame);
      if (this.slow && this.drawnAt) {  // how long the picture took shows in how late the browser comes back
        const now = performance.now();
        this.restUntil = now + Math.max(kSlowMilliseconds, 4 * (now - this.drawnAt));
        this.drawnAt = 0;
      }
      this.draw();
    };
    frame();
  }

  resize() {
    const { clientWidth, clientHeight } = this.canvas.parentElement;
    if (!clientWidth || !clientHeight) return;
    this.renderer.setPixelRatio(Math.min(window.devicePixelRatio, 2));
    this.renderer.setSize(clientWidth, clientHeight, false);
    this.eye.aspect = clientWidth / clientHeight;
    this.eye.updateProjectionMatrix();
    this.dirty = true;
  }

  draw() {
    const now = performance.now();
    if (now < this.restUntil) return;
    for (const [number, since] of this.flash) {
      const glow = Math.max(0, 1 - (now - since) / kFlashMilliseconds);
      this.lightLens(number, glow);
      if (glow === 0) this.flash.delete(number);
      this.dirty = true;
    }
    if (!this.dirty) return;
    this.dirty = false;
    const { azimuth, elevation, distance } = this.around;
    const far = distance * Math.max(1, 0.8 / this.eye.aspect);
    this.eye.position.copy(directionOf({ azimuth: -azimuth, elevation })).multiplyScalar(far);
    this.eye.position.y += kMiddle;
    this.eye.lookAt(0, kMiddle, 0);
    this.renderer.render(this.scene, this.eye);
    this.drawnAt = now;
  }

  setLenses(lenses) {
    for (const lens of this.lenses.values()) this.camera.remove(lens);
    this.lenses = new Map(lenses.map((lens) => [lens.camera, makeLens(lens)]));
    for (const lens of this.lenses.values()) this.camera.add(lens);
    this.dirty = true;
  }

  // A lens keeps a rest of light once all that was asked of it is filed.
  lightLens(number, glow) {
    const lens = this.lenses.get(number);
    if (!lens) return;
    const { glass, ring, kept = 0 } = lens.userData;
    glass.material.emissive.setRGB(0.95, 0.62, 0.2).multiplyScalar(Math.max(glow, 0.035 * kept));
    ring.material.emissive.setRGB(0.9, 0.55, 0.15).multiplyScalar(Math.max(glow, 0.75 * kept));
  }

  setShot({ tiles, running, sets, stage }) {
    const exposures = Math.max(sets.length, 1);
    for (const [number, lens] of this.lenses) {
      const tile = tiles[number];
      const filed = tile ? tile.filed.toString(2).replaceAll('0', '').length : 0;
      if (tile && lens.userData.number !== tile.number) this.flash.set(number, performance.now());
      lens.userData.number = tile?.number;
      lens.userData.kept = Math.min(1, filed / exposures);
      if (running && stage === 'exposing') this.flash.set(number, performance.now() - 0.4 * kFlashMilliseconds);
      if (!this.flash.has(number)) this.lightLens(number, 0);
    }
    this.dirty = true;
  }

  setHeld({ pitch, roll, heading }) {
    this.camera.rotation.set(pitch * kRadians, -heading * kRadians, roll * kRadians);
    this.dirty = true;
  }

  setLamp(led) {
    const { lamp, glow } = this.front;
    lamp.material.emissive.copy(colourOf(led));
    glow.material.color.copy(colourOf(led));
    glow.visible = led.lit;
    this.dirty = true;
  }

  setButton(pressed) {
    this.front.button.position.z = pressed ? this.front.pressed : this.front.out;
    this.dirty = true;
  }

  // What is under the pointer: 'button', a lens's number, or nothing.
  under(event) {
    const box = this.canvas.getBoundingClientRect();
    const ray = new THREE.Raycaster();
    ray.setFromCamera({ x: ((event.clientX - box.left) / box.width) * 2 - 1, y: 1 - ((event.clientY - box.top) / box.height) * 2 }, this.eye);
    const [hit] = ray.intersectObjects(this.camera.children.filter((part) => !part.isSprite), true);
    if (!hit) return null;
    if (hit.object === this.front.button) return 'button';
    return hit.object.parent.userData.camera ?? null;
  }
}

// Dragging walks around the camera or, if asked for, tilts it.
function startDragging(view, canvas) {
  const held = { pitch: 0, roll: 0, heading: 0 };
  on(['held'], (state) => Object.assign(held, state.held));
  const tilt = throttled(150, (pitch, heading) => {
    act(`tilt ${pitch.toFixed(1)} ${held.roll}`);
    act(`heading ${heading.toFixed(1)}`);
  });
  let drag = null;
  canvas.addEventListener('pointerdown', (event) => {
    canvas.setPointerCapture(event.pointerId);
    if (view.under(event) === 'button') {
      drag = { button: true };
      document.dispatchEvent(new Event('button-down'));
      return;
    }
    drag = { x: event.clientX, y: event.clientY, ...view.around, held: { ...held } };
  });
  const end = () => {
    if (drag?.button) document.dispatchEvent(new Event('button-up'));
    drag = null;
  };
  canvas.addEventListener('pointerup', end);
  canvas.addEventListener('pointercancel', end);
  canvas.addEventListener('pointermove', (event) => {
    if (!drag) {
      const under = view.under(event);
      canvas.style.cursor = under === 'button' ? 'pointer' : 'grab';
      canvas.title = under === 'button' ? 'The button' : under !== null ? `Camera ${under}` : '';
      return;
    }
    if (drag.button) return;
    const [right, down] = [(event.clientX - drag.x) * 0.4, (event.clientY - drag.y) * 0.4];
    if (byId('hold').getAttribute('aria-pressed') === 'true') {
      const pitch = Math.min(Math.max(drag.held.pitch + down, -90), 90);
      const heading = ((drag.held.heading - right + 540) % 360) - 180;
      tilt(pitch, heading);
      return;
    }
    view.around.azimuth = drag.azimuth + right;
    view.around.elevation = Math.min(Math.max(drag.elevation + down, -80), 85);
    view.dirty = true;
  });
  canvas.addEventListener('wheel', (event) => {
    event.preventDefault();
    view.around.distance = Math.min(Math.max(view.around.distance * Math.exp(event.deltaY * 0.001), kNearest), kFarthest);
    view.dirty = true;
  }, { passive: false });
  canvas.addEventListener('keydown', (event) => {
    const [right, up] = { ArrowLeft: [-8, 0], ArrowRight: [8, 0], ArrowUp: [0, 8], ArrowDown: [0, -8] }[event.key] ?? [0, 0];
    if (!right && !up) return;
    event.preventDefault();
    view.around.azimuth += right;
    view.around.elevation = Math.min(Math.max(view.around.elevation + up, -80), 85);
    view.dirty = true;
  });
  byId('hold').addEventListener('click', (event) => {
    const pressed = event.target.getAttribute('aria-pressed') !== 'true';
    event.target.setAttribute('aria-pressed', pressed);
  });
}

export function startView() {
  const canvas = byId('view');
  on(['held'], ({ held }) => {
    const text = (number) => `${number < 0 ? '−' : ''}${Math.abs(number).toFixed(1)}°`;
    byId('held').textContent = `front down ${text(held.pitch)}\nleft up ${text(held.roll)}\nheading ${text(held.heading)}`;
  });
  let view;
  try {
    view = new View(canvas);
  } catch (error) {
    canvas.replaceWith(Object.assign(document.createElement('p'), {
      className: 'no-view', textContent: 'This browser draws nothing in three dimensions. Everything else works.' }));
    return;
  }
  onTables(({ lenses }) => view.setLenses(lenses));
  on(['shot', 'stage'], ({ shot, stage }) => view.setShot({ ...shot, stage }));
  on(['held'], ({ held }) => view.setHeld(held));
  on(['led'], ({ led }) => view.setLamp(led));
  on(['button'], ({ button }) => view.setButton(button));
  startDragging(view, canvas);
}
