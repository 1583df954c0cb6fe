"""Pages of the tool in Chromium: how fast they open, and follow a key in the search."""

import pathlib
import re
import subprocess
import tempfile
import time

from selenium import webdriver
from selenium.webdriver.support.ui import WebDriverWait

PASSWORD = "kelvar-demo"
READ = 60  # machines that are read; larger pages repeat them under other names
SIZES = (READ, 500, 5000)
TURNS = 3
FLAGS = ("--headless=new", "--no-sandbox", "--disable-gpu", "--no-first-run", "--disable-background-networking",
         "--disable-dev-shm-usage")
PIECE = re.compile(r'<script type="application/json" class="summary">.*?</script><script type="text/plain">.*?</script>\n')


def read_page(build, folder):
    """The page about a simulated fleet."""
    targets = folder / "targets"
    with subprocess.Popen([f"{build}/simulator/kelvar-bmcsim", "--machine", "full", "--fleet", str(READ), "--targets", targets,
                           "--until-eof"], stdin=subprocess.PIPE, stdout=subprocess.PIPE) as simulator:
        for _ in range(READ):
            simulator.stdout.readline()
        read = subprocess.run([f"{build}/tools/kelvar/kelvar", "--targets", targets, "--format", "html", "--quiet"],
                              check=True, stdout=subprocess.PIPE, env={"KELVAR_PASSWORD": PASSWORD}, text=True)
        simulator.stdin.close()
    return read.stdout


def pages(text, machines, folder):
    """The page about so many machines, and one with the same bytes that shows nothing of them."""
    found = PIECE.findall(text)
    head, foot = text[:text.index(found[0])], text[text.index(found[-1]) + len(found[-1]):]
    pieces = "".join(found[number % READ].replace("@127.0.0.1:", f"@rack-{number // READ}:", 1) for number in range(machines))
    page, bare = folder / f"{machines}.html", folder / f"{machines}-bare.html"
    page.write_text(head + pieces + foot, encoding="utf-8")
    bare.write_text(head + pieces + "</body></html>", encoding="utf-8")
    return page, bare


def browser():
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for flag in FLAGS:
        options.add_argument(flag)
    return webdriver.Chrome(service=webdriver.chrome.service.Service("/usr/bin/chromedriver"), options=options)


def seconds_to_open(driver, page, ready):
    driver.get("about:blank")
    begin = time.monotonic()
    driver.get(page.as_uri())
    WebDriverWait(driver, 120, 0.01).until(lambda d: d.execute_script("return " + ready))
    return time.monotonic() - begin


def seconds_of_a_key(driver):
    """The slowest of some keys in the search, until the list is laid out again."""
    return driver.execute_script("""
        const input = document.querySelector("#search");
        let slowest = 0;
        for (const text of ["k", "ke", "kes", "kest", "kest0", "kest", "kes", ""]) {
          const begin = performance.now();
          input.value = text;
          input.dispatchEvent(new Event("input"));
          document.body.getBoundingClientRect();
          slowest = Math.max(slowest, performance.now() - begin);
        }
        return slowest;""") / 1e3


def row(operation, against, wall):
    return {"operation": operation, "against": against, "wall": wall, "cpu": (None, None), "peak": (None, None),
            "requests": (None, None), "connections": (None, None)}


def rows(build, quick):
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        text = read_page(build, folder)
        driver = browser()
        try:
            least_key = None
            for machines in SIZES[:2] if quick else SIZES:
                page, bare = pages(text, machines, folder)
                opened, floors, keys = [], [], []
                for _ in range(TURNS):
                    floors.append(seconds_to_open(driver, bare, "document.readyState === 'complete'"))
                    opened.append(seconds_to_open(driver, page, "document.body.dataset.ready === 'true'"))
                    keys.append(seconds_of_a_key(driver))
                kibibytes = page.stat().st_size / 1024 / machines
                least_key = least_key or min(keys)
                yield row(f"page opens, {machines} machines of {kibibytes:.1f} KiB", "the same bytes, no script",
                          (min(opened), min(floors)))
                yield row(f"key in the search, {machines} machines", f"{READ} machines", (min(keys), least_key))
        finally:
            driver.quit()
