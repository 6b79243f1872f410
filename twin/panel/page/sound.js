// The buzzer, for the ear and for the eye. Silent until somebody asks for it.
import { on } from './link.js';
import { byId } from './dom.js';

const kHertz = 2700, kLoud = 0.06;

export function startSound() {
  const button = byId('sound');
  let context = null, gain = null, wanted = false, heardPulses = null;

  const speak = (seconds) => {
    if (!wanted) return;
    const now = context.currentTime;
    gain.gain.cancelScheduledValues(now);
    gain.gain.setTargetAtTime(kLoud, now, 0.003);
    if (seconds) gain.gain.setTargetAtTime(0, now + seconds, 0.003);
  };
  const hush = () => { if (gain) gain.gain.setTargetAtTime(0, context.currentTime, 0.003); };

  button.addEventListener('click', () => {
    wanted = !wanted;
    if (!context) {
      context = new AudioContext();
      gain = context.createGain();
      gain.gain.value = 0;
      const tone = context.createOscillator();
      tone.type = 'square';
      tone.frequency.value = kHertz;
      tone.connect(gain).connect(context.destination);
      tone.start();
    }
    if (!wanted) hush();
    button.setAttribute('aria-pressed', wanted);
    button.textContent = wanted ? 'Sound on' : 'Sound off';
  });

  on(['buzzer'], ({ buzzer }) => {
    byId('buzzer').classList.toggle('sounds', buzzer.sounding);
    // A pulse that began and ended between two looks is heard all the same.
    const missed = heardPulses !== null && buzzer.pulses > heardPulses && !buzzer.sounding;
    if (buzzer.sounding) speak();
    else if (missed && !byId('buzzer').dataset.sounded) speak(buzzer.last / 1000);
    else hush();
    byId('buzzer').dataset.sounded = buzzer.sounding ? '1' : '';
    heardPulses = buzzer.pulses;
  });
}
