// Looks around in a panorama: drag or arrow keys turn, the wheel or plus and minus zoom.
import * as THREE from '/three/three.module.js';
import { byId } from './dom.js';

const kRadians = Math.PI / 180;
const kNarrowest = 20, kWidest = 100;

let viewer = null;

class Viewer {
  constructor(dialog) {
    this.dialog = dialog;
    this.canvas = dialog.querySelector('canvas');
    this.renderer = new THREE.WebGLRenderer({ canvas: this.canvas, antialias: true, preserveDrawingBuffer: true });
    this.eye = new THREE.PerspectiveCamera(75, 1, 0.1, 10);
    this.scene = new THREE.Scene();
    this.look = { right: 0, up: 0 };
    // Seen from inside: mirrored, so that left stays left. Its middle lies at -z, where the eye looks at first.
    const ball = new THREE.SphereBufferGeometry(5, 96, 64);
    ball.scale(-1, 1, 1);
    ball.rotateY(-Math.PI / 2);
    this.sky = new THREE.Mesh(ball, new THREE.MeshBasicMaterial({ color: 0xffffff }));
    this.scene.add(this.sky);
    this.listen();
  }

  listen() {
    let drag = null;
    const { canvas, look } = this;
    canvas.addEventListener('pointerdown', (event) => {
      canvas.setPointerCapture(event.pointerId);
      drag = { x: event.clientX, y: event.clientY, ...look };
    });
    canvas.addEventListener('pointermove', (event) => {
      if (!drag) return;
      const degrees = this.eye.fov / canvas.clientHeight;
      look.right = drag.right - (event.clientX - drag.x) * degrees;
      look.up = drag.up + (event.clientY - drag.y) * degrees;
      this.draw();
    });
    for (const end of ['pointerup', 'pointercancel']) canvas.addEventListener(end, () => { drag = null; });
    canvas.addEventListener('wheel', (event) => {
      event.preventDefault();
      this.zoom(Math.exp(event.deltaY * 0.001));
    }, { passive: false });
    canvas.addEventListener('keydown', (event) => {
      const step = this.eye.fov / 12;
      const [right, up] = { ArrowLeft: [-step, 0], ArrowRight: [step, 0], ArrowUp: [0, step], ArrowDown: [0, -step] }[event.key] ?? [0, 0];
      look.right += right;
      look.up += up;
      if (event.key === '+') this.zoom(0.85);
      if (event.key === '-') this.zoom(1 / 0.85);
      this.draw();
    });
    window.addEventListener('resize', () => this.draw());
    byId('close-panorama').addEventListener('click', () => this.dialog.close());
  }

  zoom(factor) {
    this.eye.fov = Math.min(Math.max(this.eye.fov * factor, kNarrowest), kWidest);
    this.draw();
  }

  draw() {
    const { clientWidth, clientHeight } = this.canvas;
    if (!this.dialog.open || !clientHeight) return;
    const { look, eye } = this;
    look.up = Math.min(Math.max(look.up, -90), 90);
    look.right = ((look.right + 540) % 360) - 180;
    this.renderer.setPixelRatio(Math.min(window.devicePixelRatio, 2));
    this.renderer.setSize(clientWidth, clientHeight, false);
    eye.aspect = clientWidth / clientHeight;
    eye.updateProjectionMatrix();
    eye.rotation.set(look.up * kRadians, -look.right * kRadians, 0, 'YXZ');
    this.renderer.render(this.scene, eye);
    byId('where').textContent = `${this.name}   ${look.right.toFixed(0)}° to the right, ${look.up.toFixed(0)}° up`;
  }

  show(address, name) {
    this.name = name;
    this.look.right = this.look.up = 0;
    this.eye.fov = 75;
    this.dialog.dataset.ready = '';
    this.dialog.showModal();
    this.canvas.focus();
    byId('where').textContent = 'Loading …';
    new THREE.TextureLoader().load(address, (texture) => {
      texture.minFilter = THREE.LinearFilter;
      this.sky.material.map?.dispose();
      this.sky.material.map = texture;
      this.sky.material.needsUpdate = true;
      this.draw();
      this.dialog.dataset.ready = 'yes';
    }, undefined, () => { byId('where').textContent = 'The panorama cannot be loaded.'; });
  }
}

export function openPanorama(address, name) {
  viewer ??= new Viewer(byId('panorama'));
  viewer.show(address, name);
}
