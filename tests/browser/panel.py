"""The twin with its panel, and a browser on it: what the tests of the page share."""
import json
import os
import re
import shutil
import signal
import subprocess
import tempfile
import time

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service

PROGRAMS = os.environ.get('LUMORA_PROGRAMS', 'build/bin')


class Twin:
    """lumora-twin --panel with a fresh board. Real pace, small marked pictures unless asked otherwise."""

    def __init__(self, *options, port=0, pictures='marked'):
        self.place = tempfile.mkdtemp(prefix='lumora-panel-test-')
        self.said = open(os.path.join(self.place, 'said'), 'w+')
        self.process = subprocess.Popen(
            [f'{PROGRAMS}/lumora-twin', '--panel', str(port), '--pictures', pictures, '--root',
             os.path.join(self.place, 'board'), '--log', os.path.join(self.place, 'log'), *options],
            stdout=self.said, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL)
        self.address = until(self._address, 10, 'the twin to tell its address')
        self.port = int(self.address.rsplit(':', 1)[1])

    def _address(self):
        with open(self.said.name) as said:
            found = re.search(r'panel +(http://\S+)', said.read())
        return found and found[1]

    def disk(self):
        return os.path.join(self.place, 'board/mnt/udisk/DCIM')

    def shots(self):
        return sorted(name for name in os.listdir(self.disk()) if name.endswith('.ori')) if os.path.isdir(self.disk()) else []

    def bytes(self, shot):
        with open(os.path.join(self.disk(), shot), 'rb') as file:
            return file.read()

    def size(self, shot):
        return os.path.getsize(os.path.join(self.disk(), shot))

    def end(self):
        """As Ctrl-C twice. Returns the exit status."""
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGINT)
            time.sleep(0.2)
            if self.process.poll() is None:
                self.process.send_signal(signal.SIGINT)
        status = self.process.wait(30)
        self.said.close()
        shutil.rmtree(self.place, ignore_errors=True)
        return status


def until(look, seconds, what):
    """What `look` gives when it gives something; an AssertionError after so many seconds."""
    end = time.monotonic() + seconds
    while True:
        found = look()
        if found:
            return found
        assert time.monotonic() < end, f'waited {seconds} s in vain for {what}'
        time.sleep(0.05)


class Browser:
    """A headless Chromium with a profile of its own."""

    def __init__(self, width=1400, height=900, dark=True):
        self.profile = tempfile.mkdtemp(prefix='lumora-browser-')
        options = Options()
        for argument in ('--headless=new', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
                         '--disable-background-networking', '--disable-component-update', '--disable-sync',
                         '--disable-dev-shm-usage', '--use-gl=angle', '--use-angle=swiftshader',
                         '--enable-unsafe-swiftshader', f'--user-data-dir={self.profile}',
                         f'--window-size={width},{height}'):
            options.add_argument(argument)
        options.set_capability('goog:loggingPrefs', {'browser': 'ALL'})
        self.driver = webdriver.Chrome(options=options, service=Service(shutil.which('chromedriver')))
        self.driver.set_script_timeout(120)
        self.driver.execute_cdp_cmd('Emulation.setEmulatedMedia', {'features': [
            {'name': 'prefers-color-scheme', 'value': 'dark' if dark else 'light'}]})

    def open(self, address):
        self.driver.get(address)
        until(lambda: self.state(), 15, 'the page to hear of the board')

    def js(self, code, *arguments):
        return self.driver.execute_script(code, *arguments)

    def state(self):
        """What the page believes the board's state to be; empty before it has heard of it."""
        return json.loads(self.driver.execute_async_script(
            "const done = arguments[0];"
            "import('/page/link.js').then(({board}) => done(JSON.stringify(board.connected ? board.state : {})));"))

    def wait(self, look, seconds, what):
        return until(lambda: look(self.state()), seconds, what)

    def click(self, selector):
        self.driver.find_element('css selector', selector).click()

    def text(self, selector):
        return self.js('return document.querySelector(arguments[0])?.textContent ?? ""', selector)

    def type(self, line):
        """A console command at the page's prompt."""
        box = self.driver.find_element('id', 'line')
        box.clear()
        box.send_keys(line + '\n')

    def complaints(self):
        """What the browser itself found wrong: scripts that failed, things that the policy blocked."""
        return [entry['message'] for entry in self.driver.get_log('browser') if entry['level'] == 'SEVERE']

    def processes(self):
        """The browser's, without the driver that steers it: its children, and theirs."""
        children = {}
        for name in filter(str.isdigit, os.listdir('/proc')):
            try:
                with open(f'/proc/{name}/stat') as stat:
                    children.setdefault(int(stat.read().rsplit(')', 1)[1].split()[1]), []).append(int(name))
            except OSError:
                continue  # gone since
        found = children.get(self.driver.service.process.pid, [])
        for process in found:
            found.extend(children.get(process, []))
        return found

    def end(self):
        self.driver.quit()
        shutil.rmtree(self.profile, ignore_errors=True)
