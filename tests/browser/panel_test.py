"""The panel as a person meets it: one board, one browser, from the start to the last fault."""
import re
import time
import unittest
import urllib.error
import urllib.request

from panel import Browser, Twin, until
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

SHOT = 90  # seconds within which a shot of marked pictures has ended, on a slow machine


def ready(state):
    return state.get('stage') == 'ready'


class Panel(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.twin = Twin()
        cls.addClassCleanup(cls.twin.end)
        cls.browser = Browser()
        cls.addClassCleanup(cls.browser.end)
        cls.browser.open(cls.twin.address)

    def setUp(self):
        self.browser.wait(ready, 60, 'the board to be ready')

    def tearDown(self):
        self.assertEqual(self.browser.state()['complaints'], 0)
        self.assertEqual(self.browser.complaints(), [])

    def wait(self, look, seconds, what):
        return self.browser.wait(look, seconds, what)

    def see(self, tab):
        self.browser.click(f'#tab-{tab}')

    def choose(self, label):
        """The switch or button of the world with this label."""
        self.see('world')
        self.browser.js('''
            for (const each of document.querySelectorAll('#world .switch, #world .presses button')) {
              if (each.textContent === arguments[0]) (each.querySelector('input') ?? each).click();
            }''', label)

    def end_of_shot(self, number):
        self.wait(lambda state: state['shot']['number'] == number, 30, 'the shot to begin')
        return self.wait(lambda state: not state['shot']['running'] and ready(state) and state, SHOT, 'the shot to end')

    def test_1_mouse_press_takes_a_shot_that_fills_every_tile(self):
        shutter = self.browser.driver.find_element(By.ID, 'shutter')
        ActionChains(self.browser.driver).click_and_hold(shutter).perform()
        self.wait(lambda state: state['button'], 5, 'the button to be down')
        ActionChains(self.browser.driver).release().perform()
        self.wait(lambda state: not state['button'], 5, 'the button to be up')
        state = self.end_of_shot(1)
        self.assertEqual(sorted(map(int, state['shot']['tiles'])), list(range(25)))
        self.assertEqual({tile['filed'] for tile in state['shot']['tiles'].values()}, {7})
        self.assertEqual((state['shot']['lost'], state['shot']['restarts']), (0, 0))
        # Each tile shows the whole half picture, and no two cameras the same.
        pictures = until(lambda: self.browser.js('''
            const images = [...document.querySelectorAll('.tile img')];
            return images.every((image) => image.complete && image.naturalWidth) && images.map((image) => {
              const canvas = new OffscreenCanvas(102, 76), context = canvas.getContext('2d');
              context.drawImage(image, 0, 0, 102, 76);
              return [image.naturalWidth, image.naturalHeight, context.getImageData(0, 0, 102, 76).data.join()];
            });'''), 20, 'the pictures to be drawn')
        self.assertEqual({(width, height) for width, height, _ in pictures}, {(1632, 1224)})
        self.assertEqual(len({pixels for _, _, pixels in pictures}), 25)
        self.assertEqual(self.browser.js('return document.querySelectorAll(".filed .in").length'), 75)
        log = self.browser.text('#lines')
        for line in ('hold', 'release', 'StartCapture', 'End Cap'):
            self.assertIn(line, log)

    def test_2_the_disk_shows_the_shot_judged_and_deletes_it_when_asked_twice(self):
        name, = self.twin.shots()
        self.see('shots')
        shot = self.wait(lambda state: state['shots'].get(name, {}).get('state') not in (None, 'checking')
                         and state['shots'][name], 30, 'the shot to be judged')
        self.assertEqual((shot['state'], shot['size']), ('good', self.twin.size(name)))
        with urllib.request.urlopen(f'{self.twin.address}/shot/{name}') as answer:
            self.assertEqual(answer.read(), self.twin.bytes(name))
        until(lambda: self.browser.js('return document.querySelector(".shot img").naturalWidth') == 408, 10, 'the thumbnail')
        for _ in range(2):
            self.assertEqual(self.twin.shots(), [name])
            self.browser.js('[...document.querySelectorAll(".does button")].at(-1).click()')
        until(lambda: self.twin.shots() == [], 10, 'the shot to be deleted')
        self.wait(lambda state: not state['shots'], 10, 'the list to be empty')

    def test_3_phone_and_remote_are_answered(self):
        self.see('phone')
        self.browser.js('document.querySelector("#links button").click()')
        until(lambda: re.match(r'0,0,\d+', self.browser.text('#answers pre')), 10, 'the list of shots')
        self.browser.js('[...document.querySelectorAll("#keys button")].find((b) => b.textContent === "I").click()')
        until(lambda: 'Ready' in self.browser.text('#remote'), 10, 'the display line')

    def test_4_looking_into_every_device_in_a_shot_changes_nothing(self):
        self.browser.type('press 100ms')
        self.wait(lambda state: state['shot']['running'], 30, 'the shot to begin')
        self.see('wires')
        seen = {}
        buttons = self.browser.driver.find_elements(By.CSS_SELECTOR, '.devices button')
        while self.browser.state()['shot']['running']:
            for button in buttons:
                button.click()
                state = self.wait(lambda state: state.get('wires', {}).get('device') == button.text and state, 10, button.text)
                seen.setdefault(button.text, state['wires']['rows'])
        self.assertEqual(len(seen), len(buttons))
        self.assertTrue(all(seen.values()))
        self.wait(ready, SHOT, 'the shot to end')
        self.assertEqual(len(self.twin.shots()), 1)

    def test_5_pause_and_steps(self):
        now = lambda: self.browser.state()['time']['now']
        self.browser.click('[data-pace=pause]')
        self.wait(lambda state: state['time']['pace'] == 'pause', 5, 'the pause')
        before = now()
        time.sleep(1)
        self.assertEqual(now(), before)
        self.browser.click('[data-do="step 1s"]')
        self.wait(lambda state: state['time']['now'] != before, 5, 'the step')
        self.assertAlmostEqual(now(), before + 1, places=2)
        self.browser.click('[data-pace=real]')
        self.wait(lambda state: state['time']['now'] > before + 1.5, 5, 'time to go on')

    def test_6_a_fault_is_armed_fires_and_is_cleared(self):
        self.see('faults')
        self.browser.js('''
            const row = [...document.querySelectorAll('.point')].find((each) => each.dataset.name === 'array.power');
            row.open = true;''')
        until(lambda: self.browser.js('return Boolean(document.querySelector(".point[open] form"))'), 5, 'the form')
        self.browser.js('''
            const form = document.querySelector('.point[open] form');
            form.querySelector('.conditions input').value = '40';
            form.querySelector('select').value = 'silence';
            form.dispatchEvent(new Event('input'));
            form.requestSubmit();''')
        rule = self.wait(lambda state: state['faults'], 5, 'the rule')[0]
        self.assertEqual((rule['text'], rule['fired']), ('array.power silence nth=40', 0))
        self.assertEqual(self.browser.text('.point.armed summary em'), 'armed')
        self.browser.type('press 100ms')
        self.wait(lambda state: state['faults'][0]['fired'] == 1, 60, 'the fault to fire')
        until(lambda: self.browser.text('.point.fired summary em') == 'fired 1×', 5, 'the mark')
        self.wait(lambda state: not state['shot']['running'] and ready(state), SHOT, 'the shot to end')
        self.browser.click('#rules button')
        self.wait(lambda state: state['faults'] == [], 5, 'the rule to be gone')

    def test_7_a_pulled_disk_takes_no_shot_and_comes_back(self):
        shots = self.twin.shots()
        self.choose('Plugged in')
        self.wait(lambda state: not state['disk']['plugged'], 5, 'the disk to be pulled')
        self.browser.type('press 100ms')
        until(lambda: 'press 100ms' in self.browser.text('#lines'), 5, 'the press')
        time.sleep(4)
        self.assertEqual(self.twin.shots(), shots)
        self.wait(ready, SHOT, 'the board to give the shot up')
        self.choose('Plugged in')
        self.wait(lambda state: state['disk']['plugged'], 5, 'the disk to be back')

    def test_8_low_battery_switches_off_and_the_space_bar_too(self):
        self.browser.type('power cut')
        self.wait(lambda state: state['stage'] == 'off', 10, 'the power to be cut')
        self.choose('on')
        self.wait(ready, 60, 'the board to be on again')
        self.browser.type('battery 5')
        self.browser.type('pace free')  # it looks at the battery now and then
        self.wait(lambda state: state['stage'] == 'off', 60, 'the board to switch itself off')
        self.browser.type('pace real')
        self.browser.type('battery 50')
        self.choose('on')
        self.wait(ready, 60, 'the board to be on again')
        page = ActionChains(self.browser.driver)
        self.browser.js('document.activeElement.blur()')
        page.key_down(Keys.SPACE).perform()
        self.wait(lambda state: state['button'], 5, 'the button to be down')
        self.wait(lambda state: state['stage'] == 'off' or not state['powered'], 60, 'the long press to switch off')
        page.key_up(Keys.SPACE).perform()
        self.wait(lambda state: not state['button'], 5, 'the button to be up')
        self.choose('on')
        self.wait(ready, 60, 'the board to be on again')

    def test_9_no_page_from_elsewhere_is_let_in(self):
        def status(path, **headers):
            request = urllib.request.Request(self.twin.address + path, headers={
                name.replace('_', '-'): value for name, value in headers.items()})
            try:
                with urllib.request.urlopen(request) as answer:
                    return answer.status
            except urllib.error.HTTPError as error:
                return error.code

        upgrade = {'Connection': 'Upgrade', 'Upgrade': 'websocket', 'Sec_WebSocket_Version': '13',
                   'Sec_WebSocket_Key': 'AAAAAAAAAAAAAAAAAAAAAA=='}
        own = self.twin.address
        for origin in ('http://example.org', 'null', f'http://127.0.0.1:{self.twin.port + 1}', own.replace('http', 'https')):
            self.assertEqual(status('/', Origin=origin), 403, origin)
            self.assertEqual(status('/live', Origin=origin, **upgrade), 403, origin)
        for host in ('example.org', f'example.org:{self.twin.port}', '127.0.0.1'):
            self.assertEqual(status('/', Host=host), 403, host)
        self.assertEqual(status('/', Origin=own), 200)
        for path in ('/page/../state.cpp', '/page/%2e%2e/state.cpp', '/three/../../../../etc/hostname.js', '/shot/../../x', '/live'):
            self.assertEqual(status(path), 404, path)
        with urllib.request.urlopen(own) as answer:
            policy = answer.headers['Content-Security-Policy']
        self.assertTrue(policy.startswith("default-src 'none'; script-src 'self';") and 'unsafe' not in policy, policy)


if __name__ == '__main__':
    unittest.main()
