"""Helpers of the tests of `kvrcolor ui`: a machine of its own (settings file, profile and preset
folders, trash) in a temporary folder, the server on a free port, and Chromium through Selenium.

Arguments of every test program: KVRCOLOR (the program) DATA (tests/data) OUT (a folder for
screenshots)."""
import http.client
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import urllib.parse

SKIP = 77  # the code CTest counts as skipped

KVRCOLOR, DATA, OUT = (os.path.abspath(a) for a in sys.argv[1:4])
PROFILES = os.path.join(DATA, "profiles")


class Machine:
    """A settings file naming its own base and preset folders, and its own trash."""

    def __init__(self, root, name="machine"):
        self.dir = os.path.join(root, name)
        self.base = os.path.join(self.dir, "profiles")
        self.presets = os.path.join(self.dir, "presets")
        self.ini = os.path.join(self.dir, "kvrcolor.ini")
        self.data_home = os.path.join(self.dir, "data-home")
        for d in (self.base, self.presets, self.data_home):
            os.makedirs(d, exist_ok=True)
        with open(self.ini, "w") as f:
            f.write(f"[ColorProfiles]\nBasePath={self.base}\n"
                    f"[UserSettings]\nSettingsFolder={self.presets}\n")

    def profile(self, folder, name, source=None):
        """Copies a corpus profile into a folder below the base."""
        os.makedirs(os.path.join(self.base, folder), exist_ok=True)
        target = os.path.join(self.base, folder, name)
        shutil.copy(source or os.path.join(PROFILES, name), target)
        return target

    def env(self):
        env = dict(os.environ)
        env.update(KVR_INI=self.ini, KVR_PROFILE_BASE=self.base, XDG_DATA_HOME=self.data_home,
                   TMPDIR=os.path.join(self.dir, "tmp"))
        os.makedirs(env["TMPDIR"], exist_ok=True)
        return env

    def run(self, *args):
        return subprocess.run([KVRCOLOR, *args], env=self.env(), capture_output=True, text=True)

    def tree(self):
        """Every file below the machine's folder except its temporary one, with its bytes."""
        files = {}
        for top, dirs, names in os.walk(self.dir):
            dirs[:] = [d for d in dirs if os.path.join(top, d) != os.path.join(self.dir, "tmp")]
            for n in names:
                path = os.path.join(top, n)
                with open(path, "rb") as f:
                    files[os.path.relpath(path, self.dir)] = f.read()
        return files


class Server:
    """`kvrcolor ui` on a free port for one machine."""

    def __init__(self, machine, idle_seconds=120):
        self.proc = subprocess.Popen(
            [KVRCOLOR, "ui", "--no-browser", "--port", "0", "--idle-timeout", str(idle_seconds)],
            env=machine.env(), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        line = self.proc.stdout.readline()
        m = re.match(r"kvrcolor ui: (http://127\.0\.0\.1:(\d+)/\?token=([0-9a-f]{32}))$",
                     line.strip())
        if not m:
            self.proc.kill()
            raise AssertionError(f"no address printed: {line!r} {self.proc.stderr.read()}")
        self.url, self.port, self.token = m.group(1), int(m.group(2)), m.group(3)

    def request(self, method, path, body=None, headers=None, token=True):
        """One request; answers (status, body bytes, headers)."""
        if token:
            path += ("&" if "?" in path else "?") + "token=" + self.token
        conn = http.client.HTTPConnection("127.0.0.1", self.port, timeout=30)
        h = {"Host": f"127.0.0.1:{self.port}"}
        h.update(headers or {})
        conn.request(method, path, body=body, headers=h)
        res = conn.getresponse()
        data = res.read()
        conn.close()
        return res.status, data, dict(res.getheaders())

    def api(self, path, payload=None):
        status, data, _ = self.request("POST" if payload is not None else "GET", path,
                                       None if payload is None else json.dumps(payload),
                                       {"Content-Type": "application/json"})
        return status, json.loads(data)

    def upload(self, path, fields, file_field, file_name, content):
        boundary = "kvrtestboundary7d3a"
        parts = []
        for k, v in fields.items():
            parts.append(f'--{boundary}\r\nContent-Disposition: form-data; name="{k}"\r\n\r\n'
                         f'{v}\r\n'.encode())
        parts.append(f'--{boundary}\r\nContent-Disposition: form-data; name="{file_field}"; '
                     f'filename="{file_name}"\r\nContent-Type: application/octet-stream\r\n\r\n'
                     .encode() + content + b"\r\n")
        parts.append(f"--{boundary}--\r\n".encode())
        return self.request("POST", path, b"".join(parts),
                            {"Content-Type": f"multipart/form-data; boundary={boundary}"})

    def stop(self):
        if self.proc.poll() is None:
            self.proc.send_signal(signal.SIGTERM)
            try:
                self.proc.wait(10)
            except subprocess.TimeoutExpired:
                self.proc.kill()
                self.proc.wait()
        self.proc.stdout.close()
        self.proc.stderr.close()


def selenium_names():
    """Selenium's By and Select; exits with SKIP when python3-selenium is missing."""
    try:
        from selenium.webdriver.common.by import By
        from selenium.webdriver.support.ui import Select
    except ImportError as e:
        print(f"SKIP: python3-selenium is not installed ({e})")
        sys.exit(SKIP)
    return By, Select


def chromium(download_dir):
    """Headless Chromium at 1280x800, downloads into `download_dir`; exits with SKIP (and the
    reason) when Selenium or Chromium is missing or does not start."""
    try:
        from selenium import webdriver
        from selenium.webdriver.chrome.service import Service
    except ImportError as e:
        print(f"SKIP: python3-selenium is not installed ({e})")
        sys.exit(SKIP)
    for exe in ("/usr/bin/chromium", "/usr/bin/chromedriver"):
        if not os.path.exists(exe):
            print(f"SKIP: {exe} is not installed")
            sys.exit(SKIP)
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for a in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu",
              "--window-size=1280,800", "--no-first-run", "--disable-extensions"):
        options.add_argument(a)
    options.add_experimental_option("prefs", {"download.default_directory": download_dir,
                                              "download.prompt_for_download": False})
    try:
        driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
    except Exception as e:  # any failure to start is a skip, never a pass
        print(f"SKIP: Chromium does not start: {str(e).splitlines()[0] if str(e) else e}")
        sys.exit(SKIP)
    driver.implicitly_wait(0)
    try:
        driver.execute_cdp_cmd("Page.setDownloadBehavior",
                               {"behavior": "allow", "downloadPath": download_dir})
    except Exception:
        pass
    return driver


def wait_for(predicate, what, timeout=10):
    end = time.time() + timeout
    while time.time() < end:
        try:
            value = predicate()
            if value:
                return value
        except Exception:
            pass
        time.sleep(0.05)
    raise AssertionError(f"timed out waiting for {what}")


def screenshot(driver, name, element_id=None):
    """Saves the window under OUT/name.png, scrolled to the element if one is named."""
    os.makedirs(OUT, exist_ok=True)
    if element_id:
        driver.execute_script("document.getElementById(arguments[0]).scrollIntoView()",
                              element_id)
    driver.save_screenshot(os.path.join(OUT, name + ".png"))


class Checks:
    """Named checks of one program: each runs, failures are collected and reported at the end."""

    def __init__(self):
        self.failed = []

    def run(self, name, fn, *args):
        print(f"[ RUN  ] {name}", flush=True)
        start = time.time()
        try:
            fn(*args)
            print(f"[  OK  ] {name} ({time.time() - start:.1f} s)", flush=True)
        except Exception as e:
            import traceback
            traceback.print_exc()
            print(f"[FAILED] {name}: {e}", flush=True)
            self.failed.append(name)

    def exit(self):
        if self.failed:
            print("failed: " + ", ".join(self.failed))
            sys.exit(1)
        sys.exit(0)


def temp_root(prefix):
    return tempfile.mkdtemp(prefix=prefix)


def run_browser_tests(prefix, tests):
    """Runs each test with one headless Chromium and a temporary root; exits with the result."""
    root = temp_root(prefix)
    driver = chromium(os.path.join(root, "downloads"))
    checks = Checks()
    try:
        for test in tests:
            checks.run(test.__name__, test, driver, root)
    finally:
        driver.quit()
        shutil.rmtree(root, ignore_errors=True)
    checks.exit()
