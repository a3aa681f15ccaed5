#!/usr/bin/python3
"""The page of ozna report in a browser: it loads without an error and without a network, sorts, filters, obeys the
keyboard, and looks as it should in light and dark.

    report_in_browser_test.py BROWSER PROGRAM SAMPLES WORK

BROWSER is Chromium or its shell without a window; 'none' skips the test. Screenshots stay in WORK.
"""

import base64
import io
import json
import os
import pathlib
import select
import shutil
import subprocess
import sys
import tempfile
import time


class Browser:
    """A page of a browser, by the protocol that it speaks over a pipe: texts in JSON that end in a zero."""

    def __init__(self, program, folder):
        ours, theirs = os.pipe(), os.pipe()
        command = [program, "--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
                   "--remote-debugging-pipe", f"--user-data-dir={folder}", "about:blank"]
        # The browser reads descriptor 3 and writes descriptor 4.
        self.process = subprocess.Popen(
            ["bash", "-c", f'exec "$@" 3<&{theirs[0]} 4>&{ours[1]}', "browser", *command],
            pass_fds=(theirs[0], ours[1]), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(theirs[0])
        os.close(ours[1])
        self.answers, self.questions = ours[0], theirs[1]
        self.rest, self.number, self.session = b"", 0, None
        self.events = []
        target = self.ask("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.ask("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Runtime", "Log", "Page", "Network"):
            self.ask(f"{domain}.enable")

    def close(self):
        self.process.kill()
        self.process.wait()

    def message(self):
        """The next message of the browser."""
        while b"\0" not in self.rest:
            if not select.select([self.answers], [], [], 120)[0]:
                raise AssertionError("the browser says nothing for two minutes")
            more = os.read(self.answers, 1 << 20)
            if not more:
                raise AssertionError("the browser has ended")
            self.rest += more
        text, _, self.rest = self.rest.partition(b"\0")
        return json.loads(text)

    def ask(self, method, **parameters):
        self.number += 1
        question = {"id": self.number, "method": method, "params": parameters}
        if self.session:
            question["sessionId"] = self.session
        os.write(self.questions, json.dumps(question).encode() + b"\0")
        while True:
            message = self.message()
            if message.get("id") == self.number:
                assert "error" not in message, (method, message["error"])
                return message["result"]
            self.events.append(message)

    def open(self, address):
        self.events.clear()
        self.ask("Page.navigate", url=address)
        while not any(event["method"] == "Page.loadEventFired" for event in self.events):
            self.events.append(self.message())

    def value(self, script):
        result = self.ask("Runtime.evaluate", expression=script, returnByValue=True, awaitPromise=True)
        assert "exceptionDetails" not in result, (script, result["exceptionDetails"])
        return result["result"].get("value")

    def wait(self, script, wanted):
        """Waits until the script has the wanted value."""
        end = time.monotonic() + 120
        while (value := self.value(script)) != wanted:
            assert time.monotonic() < end, f"{script} is {value}, not {wanted}"
            time.sleep(0.05)

    def set(self, field, value):
        """Gives a field of the page a value, as a person would."""
        self.value(f"(by('{field}').value = '{value}', by('{field}').dispatchEvent(new Event('input')))")

    def press(self, key, code=0, text=""):
        for kind in ("keyDown", "keyUp"):
            more = {"text": text} if text and kind == "keyDown" else {}
            self.ask("Input.dispatchKeyEvent", type=kind, key=key, code=key, windowsVirtualKeyCode=code, **more)

    def screenshot(self, path):
        import numpy
        from PIL import Image

        picture = base64.b64decode(self.ask("Page.captureScreenshot", format="png")["data"])
        path.write_bytes(picture)
        return numpy.asarray(Image.open(io.BytesIO(picture)).convert("RGB")).astype(int)

    def expect_peace(self):
        """No error, no warning, and nothing asked for but the page and what lies beside it."""
        for event in self.events:
            assert event["method"] != "Runtime.exceptionThrown", event
            assert event["method"] != "Log.entryAdded", event
            assert event["method"] != "Runtime.consoleAPICalled", event
            if event["method"] == "Network.requestWillBeSent":
                address = event["params"]["request"]["url"]
                assert address.startswith(("file:", "data:")), address[:200]


def run(*command):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    assert done.returncode in (0, 1), (command, done.returncode, done.stderr)
    return done.stdout


SHOWN_PHOTOGRAPHS = "[...document.querySelectorAll('#photographs .item')].map(item => item.title.split('/').pop())"
SHOWN_FACES = "[...document.querySelectorAll('#faces .item')].map(item => item.title.split('/').pop())"
SIDES = "[...document.querySelectorAll('#faces .name')].map(name => parseInt(name.textContent))"
SCORES = "[...document.querySelectorAll('#faces .name')].map(name => parseFloat(name.textContent.split('px')[1]))"


def try_sort_and_filter(browser, faces):
    """faces  Scores and sides by the names of the photographs, in the order of the run."""
    total = sum(map(len, faces.values()))
    assert browser.value("document.title") == "Faces found by Ozna"
    assert browser.value("by('title').textContent") == f"{len(faces)} photographs, {total} faces, 1 failed"
    browser.wait(SHOWN_PHOTOGRAPHS, list(faces))
    browser.set("sort", "count")
    browser.wait(SHOWN_PHOTOGRAPHS, sorted(faces, key=lambda name: -len(faces[name])))
    browser.set("sort", "size")
    largest = lambda name: max([side for _, side in faces[name]], default=-1)
    browser.wait(SHOWN_PHOTOGRAPHS, sorted(faces, key=lambda name: -largest(name)))
    browser.set("sort", "order")
    browser.set("least", "1")
    browser.wait(SHOWN_PHOTOGRAPHS, [name for name in faces if faces[name]])
    browser.set("most", "1")
    browser.wait(SHOWN_PHOTOGRAPHS, [name for name in faces if len(faces[name]) == 1])
    browser.set("least", "0")
    browser.set("most", "")
    browser.wait(SHOWN_PHOTOGRAPHS, list(faces))

    browser.value("by('tab-faces').click()")
    browser.wait("by('shown').textContent", f"{total} shown")
    browser.wait(SHOWN_FACES, [name for name in faces for _ in faces[name]])
    browser.set("sort", "size")
    browser.wait(SIDES, sorted((round(side) for of_one in faces.values() for _, side in of_one), reverse=True))
    browser.set("sort", "score")
    scores = sorted((score for of_one in faces.values() for score, _ in of_one), reverse=True)
    browser.wait(f"{SCORES}.length", total)
    shown = browser.value(SCORES)
    assert all(abs(a - b) < 0.0051 for a, b in zip(shown, scores)), (shown, scores)
    # Half of the faces are of a lower score; the slider has steps of a hundredth.
    least = round(scores[total // 2], 2)
    browser.set("score", least)
    browser.wait("by('shown').textContent", f"{sum(score >= least for score in scores)} shown")
    browser.set("score", 0)
    browser.set("sort", "order")
    browser.value("by('tab-failures').click()")
    browser.wait("by('failures').innerText.includes('missing.jpg: No such file or directory')", True)
    assert browser.value("by('photographs').getClientRects().length + by('faces').getClientRects().length") == 0


def try_keyboard(browser, faces):
    browser.value("by('tab-photographs').click(), by('tab-photographs').focus()")
    browser.press("ArrowRight", 39)
    browser.wait("document.activeElement.id", "tab-faces")
    browser.press("ArrowLeft", 37)
    browser.wait("document.activeElement.id", "tab-photographs")
    browser.wait(SHOWN_PHOTOGRAPHS, list(faces))
    browser.value("document.querySelector('#photographs .item').focus()")
    browser.press("ArrowRight", 39)
    second = list(faces)[1]
    browser.wait("document.activeElement.title.split('/').pop()", second)
    browser.press("Enter", 13, "\r")
    browser.wait("by('closer').open", True)
    assert second in browser.value("by('closer').innerText")
    assert browser.value("by('closer').querySelectorAll('.box').length") == len(faces[second])
    browser.press("Escape", 27)
    browser.wait("by('closer').open", False)


def try_looks(browser, work):
    """Boxes are green and stand where the faces are; the page is light, or dark for those who want it so."""
    # Those of a hidden tab are loaded when it is shown: the tab of the faces may have been left before they were.
    browser.wait("[...document.images].filter(image => image.getClientRects().length"
                 " && (!image.complete || !image.naturalWidth)).length", 0)
    browser.value("document.activeElement.blur()")
    box = browser.value("(r => [r.left, r.top, r.width, r.height])(document.querySelector('.box').getBoundingClientRect())")
    left, top, width, height = map(round, box)
    assert width > 20 and 0.8 < width / height < 1.25, box
    for scheme, mark in (("light", (10, 125, 50)), ("dark", (74, 222, 128))):
        browser.ask("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": scheme}])
        shot = browser.screenshot(work / f"report_{scheme}.png")
        ground = shot[-1, -1].mean()
        assert ground > 200 if scheme == "light" else ground < 60, (scheme, ground)
        marked = (abs(shot - mark).max(axis=2) < 12)
        frame = marked[top : top + 2, left : left + width].mean(), marked[top : top + height, left : left + 2].mean()
        assert min(frame) > 0.8, (scheme, frame)
        inside = shot[top + 4 : top + height - 4, left + 4 : left + width - 4]
        assert inside.std() > 20, f"no picture in the box ({scheme})"
    browser.ask("Emulation.setEmulatedMedia", features=[])


def try_many(browser, page, work):
    """A page of 5,000 faces: they are laid in by portions, and the page answers in between."""
    begin = "const data = "
    at = page.index(begin) + len(begin)
    end = page.index(";\nconst by", at)
    data = json.loads(page[at:end].replace("\\u003c", "<"))
    with_faces = [photograph for photograph in data["photographs"] if photograph["faces"]]
    count = sum(len(photograph["faces"]) for photograph in with_faces)
    times = -(-5000 // count)
    data["photographs"] = with_faces * times
    many = work / "many.html"
    many.write_text(page[:at] + json.dumps(data).replace("<", "\\u003c") + page[end:])
    browser.open(many.as_uri())
    laid = "document.querySelectorAll('#faces .item').length"
    assert 0 < browser.value(f"(by('tab-faces').click(), {laid})") <= 500
    browser.wait(laid, count * times)
    began = time.monotonic()
    browser.set("sort", "sharpness")
    browser.wait(f"{laid} === {count * times} && by('shown').textContent === '{count * times} shown'", True)
    print(f"{count * times} faces sorted in {time.monotonic() - began:.2f} s")
    browser.expect_peace()


def main():
    program, ozna, samples, work = sys.argv[1:]
    if program == "none":
        print("skipped: no Chromium (scripts/install_packages.sh browser)")
        sys.exit(77)
    work = pathlib.Path(work)
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir(parents=True)
    from PIL import Image

    Image.linear_gradient("L").save(work / "none.png")
    names = ["astronaut.png", "group.jpg", "grace_hopper.jpg"]
    photographs = [f"{samples}/{name}" for name in names] + [str(work / "none.png")]
    run(ozna, "report", "-o", str(work / "report.html"), *photographs, str(work / "missing.jpg"))
    faces = {}
    for line in run(ozna, "detect", "--json", *photographs).splitlines():
        record = json.loads(line)
        faces[record["path"].split("/")[-1]] = [(face["score"], face["right"] - face["left"]) for face in record["faces"]]
    assert sum(map(len, faces.values())) > 9, faces
    with tempfile.TemporaryDirectory() as folder:
        browser = Browser(program, folder)
        try:
            browser.ask("Emulation.setDeviceMetricsOverride", width=1200, height=800, deviceScaleFactor=1, mobile=False)
            browser.open((work / "report.html").as_uri())
            try_sort_and_filter(browser, faces)
            try_keyboard(browser, faces)
            try_looks(browser, work)
            browser.expect_peace()
            try_many(browser, (work / "report.html").read_text(), work)
        finally:
            browser.close()


if __name__ == "__main__":
    main()
