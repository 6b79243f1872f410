"""What outlives one page and one board: a record that repeats, a twin that comes back, a browser that stalls."""
import os
import re
import signal
import subprocess
import time
import unittest
import urllib.request

from panel import PROGRAMS, Browser, Twin, until


def read(path):
    with open(path, 'rb') as file:
        return file.read()


def repeat(script, place):
    """What the script leaves on a fresh board: its shots' bytes by name, and its log."""
    path = os.path.join(place, 'again.script')
    with open(path, 'w') as file:
        file.write(script)
    root, log = os.path.join(place, 'again'), os.path.join(place, 'again.log')
    subprocess.run([f'{PROGRAMS}/lumora-twin', '--script', path, '--root', root, '--log', log],
                   check=True, stdout=subprocess.DEVNULL, timeout=200)
    disk = os.path.join(root, 'mnt/udisk/DCIM')
    shots = {name: read(os.path.join(disk, name)) for name in os.listdir(disk) if name.endswith('.ori')}
    return shots, read(log).decode(errors='replace')


class Lasting(unittest.TestCase):
    def start(self, make, *arguments, **options):
        made = make(*arguments, **options)
        self.addCleanup(made.end)
        return made

    def test_a_record_repeats_all_to_the_last_byte(self):
        twin, browser = self.start(Twin, '--seed', '7', pictures='rendered'), self.start(Browser)
        browser.open(twin.address)
        browser.wait(lambda state: state['stage'] == 'ready', 60, 'the board to be ready')
        for line in ('tilt 12 -7.5', 'heading 40', 'light 0.4', 'gps 31.75 121.4', 'temperature 41 3', 'battery 44', 'charge on',
                     'speed 30000000', 'fault frame.lost silence nth=20 times=2', 'phone /set_prefix?prefix=r_', 'press 90ms'):
            browser.type(line)
        browser.wait(lambda state: state['shot']['frames'] > 5, 90, 'the first frames')
        browser.type('tilt 0 3')
        browser.type('pace pause')
        browser.type('step 1500ms')
        browser.type('light 2')
        browser.type('pace free')
        browser.wait(lambda state: state['shots'] and not state['shot']['running'], 120, 'the first shot to end')
        browser.type('pace real')
        browser.type('remote T')
        browser.wait(lambda state: len(state['shots']) == 2 and not state['shot']['running'], 120, 'the second shot to end')
        until(lambda: len(browser.state()['shots']) == 2, 10, 'the list')
        self.assertGreaterEqual(browser.state()['actions'], 14)
        script = urllib.request.urlopen(f'{twin.address}/record').read().decode()
        shots, log = repeat(script, twin.place)
        self.assertEqual(sorted(shots), twin.shots())
        self.assertTrue(all(name.startswith('r_') for name in shots))
        for name, content in shots.items():
            self.assertTrue(content == twin.bytes(name), f'{name} is another file')
        self.assertTrue(read(os.path.join(twin.place, 'log')).decode(errors='replace').startswith(log), 'the logs differ')
        self.assertEqual(log.count('StartCapture'), 2)

    def test_two_pages_show_the_same_and_come_back_after_a_restart(self):
        twin, browser = Twin(), self.start(Browser, width=520)
        browser.open(twin.address)
        browser.js('window.open("/")')
        pages = until(lambda: len(browser.driver.window_handles) == 2 and browser.driver.window_handles, 10, 'the second page')
        browser.wait(lambda state: state['pages'] == 2, 20, 'both pages')
        browser.type('battery 33')
        shown = []
        for page in pages:
            browser.driver.switch_to.window(page)
            state = browser.wait(lambda state: state.get('battery') == 33 and state, 20, 'the battery')
            shown.append({name: state[name] for name in ('battery', 'held', 'disk', 'adapters', 'faults', 'actions')})
        self.assertEqual(shown[0], shown[1])
        self.assertLessEqual(*browser.js('return [document.documentElement.scrollWidth, innerWidth]'))
        twin.end()
        until(lambda: not browser.js('return document.getElementById("lost").hidden'), 20, 'the loss to be told')
        again = self.start(Twin, port=twin.port)
        browser.wait(lambda state: state.get('battery') == 50, 30, 'the page to find the new board')
        self.assertTrue(browser.js('return document.getElementById("lost").hidden'))
        self.assertNotIn('battery 33', browser.text('#lines'))
        self.assertTrue(again.process.poll() is None)

    def test_a_stopped_browser_does_not_hold_the_board_up_and_catches_up_in_order(self):
        twin, browser = self.start(Twin), self.start(Browser)
        browser.open(twin.address)
        browser.wait(lambda state: state['stage'] == 'ready', 60, 'the board to be ready')
        browser.type('phone /do_capture?delay=0')
        browser.wait(lambda state: state['shot']['running'], 30, 'the shot')
        stopped = browser.processes()
        for process in stopped:
            os.kill(process, signal.SIGSTOP)
        try:
            until(lambda: len(twin.shots()) == 1, 60, 'the shot to be filed')
            time.sleep(8)  # the camera still speaks, and nobody listens
        finally:
            for process in stopped:
                os.kill(process, signal.SIGCONT)
        state = browser.wait(lambda state: state['shot']['tiles'] and not state['shot']['running'] and state, 30, 'the page to catch up')
        self.assertEqual({tile['filed'] for tile in state['shot']['tiles'].values()}, {7})
        frames, seen = ([int(number) for number in re.findall(r'Recv Frame Ch0 (\d+)', text)] for text in (
            read(os.path.join(twin.place, 'log')).decode(), browser.driver.find_element('id', 'lines').get_attribute('innerText')))
        self.assertEqual(seen, frames[-len(seen):])
        self.assertEqual(seen[-1], 93)


if __name__ == '__main__':
    unittest.main()
