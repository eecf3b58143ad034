#!/usr/bin/env python3
"""The page of the gateway in a real browser.

    page_test.py [-v] [TEST...]

It needs Debian's chromium, chromium-driver and python3-selenium, and is skipped without them. With
$VANTRY_PICTURES set to a folder, pictures of the page are left there. After `npm ci` in this folder,
axe-core checks that everybody can use the page. $VANTRY_ROUNDS is how many seconds the load goes on,
and $VANTRY_PROPERTIES how many properties there are beyond what the list shows.
"""

import os
import subprocess
import sys
import time
import unittest

from page_support import PageTestCase
import vantry

DRIVER = os.environ.get("VANTRY_DRIVER", "simulated_driver")
RECORDER = os.environ.get("VANTRY", "vantry")
SIZES = {"telephone": (390, 844), "tablet": (900, 1100), "wide": (1600, 1000)}
RATE = 4
PROPERTIES = 1000
WATCH_TASKS = ("window.tasks = []; new PerformanceObserver((list) => { for (const one of list.getEntries())"
               " tasks.push(one.duration); }).observe({type: 'longtask', buffered: true});")


class WithAPrinter(PageTestCase):
    """Has the simulated printer, with its descriptions, and a recording of it."""

    def setUp(self):
        super().setUp()
        self.history = self.hub.folder.name + "/history.db"
        self.start(DRIVER, self.hub.device)
        self.start(RECORDER, "--device", self.hub.device, "history", "record", "--file", self.history,
                   "--commit", "0.2")
        os.environ["VANTRY_DESCRIPTIONS"] = os.path.join(os.path.dirname(os.path.abspath(__file__)),
                                                         "../../examples/properties.d")

    def start(self, *command):
        process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def open(self, *options, **size):
        super().open("--history", self.history, *options, **size)
        self.eventually(lambda: self.value_of("Printhead Temperature"))

    def test_values_move_and_a_set_is_seen(self):
        self.open()
        first = self.value_of("Printhead Temperature")
        self.eventually(lambda: self.value_of("Printhead Temperature") != first)
        self.open_property("Print Speed")
        for typed, answer in (("9", "It is 9 now."), ("13", "refused")):
            self.run_script("const input = document.getElementById('setting-input'); input.max = '';"
                            "input.value = arguments[0]; document.getElementById('setting').requestSubmit()", typed)
            self.eventually(lambda: answer in self.text("#setting-result"))
        self.eventually(lambda: self.text("#detail-value") == "9 in/s")
        self.click("#command-list button")
        self.eventually(lambda: self.text("#command-list small") == "Done.")
        self.assertEqual(self.complaints(), [])

    def press(self, key):
        self.driver.switch_to.active_element.send_keys(key)

    def walk(self, wanted):
        """Presses Tab until the focus has been at everything in sight. Each place must show that it has it."""
        missing = self.run_script(
            "return [...document.querySelectorAll('a, button, input, select, summary')].filter((one) =>"
            " one.checkVisibility() && !one.disabled).map((one, place) => one.dataset.place = String(place))")
        self.assertGreater(len(missing), wanted)
        missing = set(missing)
        for _ in range(2 * len(missing) + 20):
            if not missing:
                break
            self.press("\ue004")
            place, outline = self.run_script("const one = document.activeElement;"
                                             "return [one.dataset.place, getComputedStyle(one).outlineStyle]")
            if place:
                self.assertEqual(outline, "solid", place)
                missing.discard(place)
        self.assertEqual(missing, set())

    def test_a_property_has_its_past_and_the_keyboard_suffices(self):
        self.open()
        self.walk(40)
        self.run_script("[...document.querySelectorAll('.row a')].find((link) =>"
                        " link.textContent === 'Printhead Temperature').focus()")
        self.press("\ue007")
        self.eventually(lambda: self.text("#detail-title") == "Printhead Temperature")
        self.assertEqual(self.run_script("return document.activeElement.id"), "detail-title")
        self.eventually(lambda: self.text("#plot-text").startswith("Between"))
        self.eventually(lambda: self.run_script("return document.querySelectorAll('#plot canvas').length > 0"))
        self.assertNotIn("No history", self.text("#plot-text"))
        asked = "return performance.getEntriesByType('resource').map((one) => new URL(one.name)).filter((one) =>" \
                " one.pathname.endsWith('history')).map((one) => +one.searchParams.get('until') -" \
                " one.searchParams.get('since'))"
        for key, length in ("+", 300), ("+", 150), ("\ue012", 150), ("\ue014", 150), ("-", 300):
            before = len(self.run_script(asked))
            self.run_script("document.querySelector('#moves button').focus()")
            self.press(key)
            self.eventually(lambda: len(self.run_script(asked)) > before)
            self.assertAlmostEqual(self.run_script(asked)[-1], length, delta=1, msg=key)
        self.walk(50)
        self.press("\ue00c")
        self.assertTrue(self.run_script("return document.getElementById('detail').hidden"))
        self.assertEqual(self.run_script("return document.activeElement.textContent"), "Printhead Temperature")
        self.assertEqual(self.complaints(), [])

    def test_a_component_whose_program_ends_is_a_problem(self):
        fans = self.fan_program()
        self.open()
        self.eventually(lambda: self.value_of("Fan Speed") == "100")
        self.assertNotIn("has ended", self.text("#problem-list"))
        fans.kill()
        self.eventually(lambda: "Fan Program has ended" in self.text("#problem-list"))
        self.open_property("Fan Speed")
        self.assertIn("may be old", self.text("#detail-owner"))

    def fan_program(self):
        with open(self.hub.folder.name + "/fans.txt", "w") as file:
            file.write('component "Fan Program"\ngroup Fans\nproperty "Fan Speed" number 100\n')
        return self.start(RECORDER, "--device", self.hub.device, "announce", self.hub.folder.name + "/fans.txt")

    def test_nothing_flashes_or_jumps_and_nothing_moves_for_those_who_want_none(self):
        self.open()
        self.driver.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument", {"source": """
            window.jumps = [];
            new PerformanceObserver((list) => jumps.push(...list.getEntries().map((one) => one.value)))
              .observe({type: 'layout-shift', buffered: true});
            window.empty = 0;
            const isSeen = (id) => document.getElementById(id)?.checkVisibility();
            const look = () => { empty += document.getElementById('loading') && !isSeen('loading')
                                   && !isSeen('properties') ? 1 : 0;
                                 requestAnimationFrame(look); };
            requestAnimationFrame(look);"""})
        for motion in "no-preference", "reduce":
            self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {
                "features": [{"name": "prefers-reduced-motion", "value": motion}]})
            self.driver.refresh()
            first = self.eventually(lambda: self.value_of("Printhead Temperature"))
            self.eventually(lambda: self.value_of("Printhead Temperature") != first)
            moves = self.run_script("document.querySelector('.row .value').classList.add('changed');"
                                    "return getComputedStyle(document.querySelector('.changed')).animationName")
            self.assertEqual(moves, "changed" if motion == "no-preference" else "none")
            self.assertEqual(self.run_script("return empty"), 0)
        print("\nlayout shift %.3f" % sum(self.run_script("return jumps")), file=sys.stderr)
        self.assertLess(sum(self.run_script("return jumps")), 0.1)

    def test_a_hub_that_dies_and_comes_back_is_told(self):
        self.open()
        self.hub.kill()
        self.eventually(lambda: "not there" in self.text("#state-hub"))
        self.assertIn("The hub isn't there", self.text("#no-problem"))
        self.hub.start()
        self.eventually(lambda: self.text("#state-hub b") == "connected")
        before = self.value_of("Printhead Temperature")
        self.eventually(lambda: self.value_of("Printhead Temperature") not in (before, "gone"))
        self.served.process.kill()
        self.eventually(lambda: "not connected" in self.text("#state-page"))

    def test_everybody_can_use_it_at_every_size_and_it_is_small(self):
        axe = os.path.join(os.path.dirname(os.path.abspath(__file__)), "node_modules/axe-core/axe.min.js")
        self.open()
        size = self.run_script("return performance.getEntries().reduce((sum, entry) =>"
                               " sum + (entry.name.includes('api/') ? 0 : entry.transferSize ?? 0), 0)")
        print("\nfirst sight: %d bytes" % size, file=sys.stderr)
        self.assertLess(size, 100_000)
        self.assertGreater(size, 1_000)
        for name, (width, height) in SIZES.items():
            for scheme in "light", "dark":
                self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
                    "width": width, "height": height, "deviceScaleFactor": 1, "mobile": name == "telephone"})
                self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {
                    "features": [{"name": "prefers-color-scheme", "value": scheme}]})
                for isOpen in False, True:
                    if isOpen:
                        self.open_property("Printhead Temperature")
                        self.eventually(lambda: self.text("#plot-text").startswith("Between"))
                    wide = self.run_script("return document.documentElement.scrollWidth")
                    self.assertLessEqual(wide, width, name)
                    self.run_script("scrollTo(0, 0)")
                    self.picture(f"{name}-{scheme}-{'property' if isOpen else 'all'}")
                    if os.path.exists(axe):
                        self.check(axe, f"{name} {scheme} {isOpen}")
                self.click("#detail-close")

    def check(self, axe, where):
        with open(axe) as file:
            self.run_script(file.read())
        found = self.driver.execute_async_script(
            "const done = arguments[0]; axe.run().then((result) => done(result.violations.map((one) =>"
            " one.id + ': ' + one.nodes.map((node) => node.html).slice(0, 3).join(' | '))))")
        self.assertEqual(found, [], where)


class UnderLoad(PageTestCase):
    def test_a_thousand_properties_that_change_leave_it_responsive_and_right(self):
        seconds = int(os.environ.get("VANTRY_ROUNDS", "4"))
        owner = vantry.Hub(self.hub.device)
        self.addCleanup(owner.close)
        machine = vantry.Component("Machine", "Numbers")
        ones = [machine.number(f"Number {place:04}", 0) for place in range(PROPERTIES)]
        owner.announce(machine)
        self.open()
        self.eventually(lambda: self.run_script("return document.querySelectorAll('.row').length") > PROPERTIES)
        self.run_script(WATCH_TASKS)
        memory = self.heap()
        begin = time.monotonic()
        for turn in range(1, seconds * RATE + 1):
            for place, one in enumerate(ones):
                owner.change(one, (turn * 31 + place) % 1000)
            time.sleep(max(0.0, begin + turn / RATE - time.monotonic()))
        last = seconds * RATE
        wanted = {f"Number {place:04}": str((last * 31 + place) % 1000) for place in range(PROPERTIES)}
        # Rows that aren't in sight are drawn when they come into sight, so a search brings all values up.
        self.eventually(lambda: self.shown(wanted) == wanted)
        tasks = self.run_script("return tasks")
        print(f"\n{seconds} s: {len(tasks)} long tasks, the longest {max(tasks, default=0):.0f} ms; "
              f"heap {memory / 1e6:.1f} MB before, {self.heap() / 1e6:.1f} MB after", file=sys.stderr)
        self.assertEqual(self.complaints(), [])

    def test_with_very_many_properties_it_says_what_it_leaves_out_and_a_search_reaches_all(self):
        count = int(os.environ.get("VANTRY_PROPERTIES", "4000"))
        owner = vantry.Hub(self.hub.device)
        self.addCleanup(owner.close)
        for begin in range(0, count, 1000):
            machine = vantry.Component("Machine", "Numbers")
            for place in range(begin, begin + 1000):
                newest = machine.number(f"Number {place:06}", place)
            owner.announce(machine)
        begun = time.monotonic()
        self.open()
        self.run_script(WATCH_TASKS)
        self.eventually(lambda: int((self.text("#count") or "0").split()[-1]) >= count)
        loaded = time.monotonic() - begun
        self.assertRegex(self.text("#more"), r"first 3000\. The other \d+ ")
        last = f"number {count - 1:06}"
        for length in range(1, len(last) + 1):
            self.search(last[:length])
        self.eventually(lambda: self.rows() == [(f"Number {count - 1:06}", str(count - 1))])
        self.assertTrue(self.run_script("return document.getElementById('more').hidden"))
        for order in "age", "name":
            self.run_script("const sort = document.getElementById('sort'); sort.value = arguments[0];"
                            "sort.dispatchEvent(new Event('change'))", order)
            self.search("")
            self.eventually(lambda: len(self.rows()) == 3000)
        owner.change(newest, 7)
        self.search(last)
        self.eventually(lambda: [value for _, value in self.rows()] == ["7"])
        tasks = self.run_script("return tasks")
        print(f"\n{count} properties: there after {loaded:.1f} s, {len(tasks)} long tasks, the longest "
              f"{max(tasks, default=0):.0f} ms, heap {self.heap() / 1e6:.0f} MB", file=sys.stderr)
        self.assertEqual(self.complaints(), [])

    def search(self, text):
        self.run_script("const search = document.getElementById('search'); search.value = arguments[0];"
                        "search.dispatchEvent(new Event('input'))", text)

    def rows(self):
        return [tuple(row) for row in self.run_script(
            "return [...document.querySelectorAll('.row')].map((row) =>"
            " [row.querySelector('a').textContent, row.querySelector('.value').textContent])")]

    def heap(self):
        self.driver.execute_cdp_cmd("HeapProfiler.collectGarbage", {})
        return self.run_script("return performance.memory.usedJSHeapSize")

    def shown(self, wanted):
        self.run_script("document.getElementById('search').dispatchEvent(new Event('input'))")
        rows = self.driver.execute_async_script(
            "const done = arguments[0]; setTimeout(() => done([...document.querySelectorAll('.row')].map((row) =>"
            " [row.querySelector('a').textContent, row.querySelector('.value').textContent])), 200)")
        return {name: value for name, value in rows if name in wanted}


if __name__ == "__main__":
    unittest.main()
