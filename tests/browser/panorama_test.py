"""The panorama of a shot: made in the background with its progress told, and seen from inside the right way round."""
import re
import unittest

from panel import Browser, Twin, until
from selenium.webdriver.common.keys import Keys

# What the middle of the view shows when it looks so far to the right and up, and the same place of the flat picture.
COMPARE = '''
const [address, right, up] = arguments, done = arguments[arguments.length - 1];
const view = document.querySelector('#panorama canvas');
const image = new Image();
image.onload = () => {
  const mean = (source, x, y, radius) => {
    const canvas = new OffscreenCanvas(2 * radius, 2 * radius), context = canvas.getContext('2d');
    context.drawImage(source, x - radius, y - radius, 2 * radius, 2 * radius, 0, 0, 2 * radius, 2 * radius);
    const data = context.getImageData(0, 0, 2 * radius, 2 * radius).data, sum = [0, 0, 0];
    for (let i = 0; i < data.length; i++) if (i % 4 < 3) sum[i % 4] += data[i];
    return sum.map((value) => value / (data.length / 4));
  };
  const x = (0.5 + right / 360) * image.width, y = (0.5 - up / 180) * image.height;
  const perDegree = [image.width / 360, view.height / 75];
  done([mean(view, view.width / 2, view.height / 2, Math.round(2 * perDegree[1])),
        mean(image, x, y, Math.round(2 * perDegree[0]))]);
};
image.src = address;
'''


class Panorama(unittest.TestCase):
    def test_it_is_made_and_seen(self):
        twin = Twin(pictures='rendered')
        self.addCleanup(twin.end)
        browser = Browser()
        self.addCleanup(browser.end)
        browser.open(twin.address)
        browser.wait(lambda state: state['stage'] == 'ready', 60, 'the board to be ready')
        browser.type('press 100ms')
        name = next(iter(browser.wait(lambda state: not state['shot']['running'] and state['shots'], 120, 'the shot')))
        browser.click('#tab-shots')
        browser.wait(lambda state: state['shots'][name]['state'] == 'good', 60, 'the shot to be judged')
        browser.click('.panorama')
        told = set()
        until(lambda: told.add(browser.state()['shots'][name]['made']) or browser.state()['shots'][name]['panorama'] == 'ready',
              120, 'the panorama')
        self.assertTrue(any(' of 25 cameras' in text for text in told), told)
        browser.click('.panorama')
        until(lambda: browser.js('return document.getElementById("panorama").dataset.ready'), 60, 'the picture')
        colours = []
        view = browser.driver.find_element('css selector', '#panorama canvas')
        for keys in ('', Keys.ARROW_RIGHT * 14, Keys.ARROW_RIGHT * 14, Keys.ARROW_UP * 6, Keys.ARROW_RIGHT * 11 + Keys.ARROW_DOWN * 12):
            view.send_keys(keys)
            right, up = map(int, re.search(r'(-?\d+)° to the right, (-?\d+)° up', browser.text('#where')).groups())
            seen, flat = browser.driver.execute_async_script(COMPARE, f'/panorama/{name}', right, up)
            colours.append(seen)
            for a, b in zip(seen, flat):
                self.assertAlmostEqual(a, b, delta=9, msg=f'{right}° to the right, {up}° up: {seen}, {flat}')
        spread = max(max(colour) for colour in colours) - min(min(colour) for colour in colours)
        self.assertGreater(spread, 60, 'the places looked at do not tell one direction from another')


if __name__ == '__main__':
    unittest.main()
