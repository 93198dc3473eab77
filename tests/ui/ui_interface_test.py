"""The HTTP interface of `kvrcolor ui`: the token, Host and Origin checks, upload names, the
preset operations and the ends of the server."""
import json
import os
import shutil
import signal
import subprocess
import time

import uitest
from uitest import Checks, Machine, Server


def fresh_machine(root, name):
    m = Machine(root, name)
    m.profile("Printer", "default_cmyk.icc")
    m.profile("InputRgb", "sRGB.icc")
    return m


def port_zero_prints_the_port_it_got(m):
    s = Server(m)
    try:
        assert 0 < s.port < 65536
        assert s.request("GET", "/")[0] == 200
    finally:
        s.stop()


def a_request_without_the_token_is_401_and_changes_nothing(m):
    s = Server(m)
    try:
        before = m.tree()
        for method, path, body in [("GET", "/", None), ("GET", "/api/presets", None),
                                   ("POST", "/api/preset",
                                    json.dumps({"action": "new", "kind": "PsCs", "name": "X"}))]:
            status, _, _ = s.request(method, path, body, token=False)
            assert status == 401, (path, status)
        status, _, _ = s.request("GET", "/api/presets?token=" + "0" * 32, token=False)
        assert status == 401
        status, _, _ = s.request("GET", "/api/presets", headers={"X-KVR-Token": "nope"},
                                 token=False)
        assert status == 401
        status, _, _ = s.request("GET", "/api/presets", headers={"X-KVR-Token": s.token},
                                 token=False)
        assert status == 200
        assert m.tree() == before
    finally:
        s.stop()


def a_foreign_host_or_origin_is_403_and_changes_nothing(m):
    s = Server(m)
    try:
        before = m.tree()
        new = json.dumps({"action": "new", "kind": "PsCs", "name": "X"})
        for headers in [{"Host": "evil.example"}, {"Host": f"evil.example:{s.port}"},
                        {"Host": f"127.0.0.1:{s.port + 1 if s.port < 65535 else 1}"},
                        {"Origin": "http://evil.example"},
                        {"Origin": f"https://127.0.0.1:{s.port}"},
                        {"Origin": f"http://localhost:{s.port}.evil.example"}]:
            status, _, _ = s.request("POST", "/api/preset", new,
                                     dict(headers, **{"Content-Type": "application/json"}))
            assert status == 403, (headers, status)
        status, _, _ = s.request("GET", "/api/presets",
                                 headers={"Host": f"localhost:{s.port}",
                                          "Origin": f"http://localhost:{s.port}"})
        assert status == 200
        assert m.tree() == before
    finally:
        s.stop()


def an_upload_whose_name_leaves_its_folder_is_400_and_writes_nothing(m):
    s = Server(m)
    try:
        before = m.tree()
        with open(os.path.join(uitest.PROFILES, "sRGB.icc"), "rb") as f:
            icc = f.read()
        tmp = m.env()["TMPDIR"]
        for name in ["../x.icc", "/etc/x", "..\\x.icc", "a/../../x.icc"]:
            for path, fields, field in [
                    ("/api/page/change", {"request": json.dumps({"change": {}})}, "file"),
                    ("/api/import", {"replace": "1"}, "file"),
                    ("/api/proof", {"printer": "Printer/default_cmyk.icc"}, "image")]:
                status, body, _ = s.upload(path, fields, field, name, icc)
                assert status == 400, (name, path, status, body)
                assert b"refused" in body
        assert m.tree() == before
        assert os.listdir(tmp) == [], os.listdir(tmp)
        assert not os.path.exists(os.path.join(m.dir, "x.icc"))
        assert not os.path.exists("/etc/x")
    finally:
        s.stop()


def presets_are_made_renamed_and_the_current_name_follows(m):
    s = Server(m)
    try:
        status, data = s.api("/api/preset", {"action": "new", "kind": "PsCs", "name": "A"})
        assert status == 200
        assert os.path.exists(os.path.join(m.presets, "A.PsCs"))
        status, data = s.api("/api/preset", {"action": "current", "kind": "PsCs", "name": "A"})
        assert [k["current"] for k in data["kinds"] if k["kind"] == "PsCs"] == ["A"]
        status, data = s.api("/api/preset",
                             {"action": "rename", "kind": "PsCs", "name": "A", "newName": "B"})
        assert status == 200
        assert [k["current"] for k in data["kinds"] if k["kind"] == "PsCs"] == ["B"]
        assert "PsCsName=B" in open(m.ini).read()
        status, data = s.api("/api/preset",
                             {"action": "copy", "kind": "PsCs", "name": "B", "newName": "../C"})
        assert status == 400, data
        status, data = s.api("/api/preset", {"action": "delete", "kind": "PsCs", "name": "Q"})
        assert status == 400 and "Q" in data["error"], data
    finally:
        s.stop()


def profiles_are_listed_with_their_facts_and_texts(m):
    s = Server(m)
    try:
        status, data = s.api("/api/profiles")
        assert status == 200
        by_path = {p["path"]: p for p in data["profiles"]}
        printer = by_path["Printer/default_cmyk.icc"]
        assert printer["class"] == "printer" and printer["space"] == "CMYK", printer
        assert printer["inkLimit"] > 0 and len(printer["md5"]) == 32
        assert "inkLimit" not in by_path["InputRgb/sRGB.icc"]
        status, text, _ = s.request("GET", "/api/profile/info?path=Printer/default_cmyk.icc")
        assert status == 200 and b"MD5" in text
        expected = m.run("info", os.path.join(m.base, "Printer", "default_cmyk.icc")).stdout
        assert text.decode() == expected
        status, text, _ = s.request("GET", "/api/profile/dump?path=InputRgb/sRGB.icc")
        assert status == 200 and len(text) > 1000
        status, _, _ = s.request("GET", "/api/profile/info?path=../kvrcolor.ini")
        assert status == 400
    finally:
        s.stop()


def tiny_png(width=4, height=2):
    """An 8-bit RGB PNG of a few colours."""
    import struct
    import zlib

    def chunk(kind, data):
        return (struct.pack(">I", len(data)) + kind + data +
                struct.pack(">I", zlib.crc32(kind + data) & 0xffffffff))
    rows = b"".join(b"\0" + b"".join(bytes((x * 60, y * 120, 200 - x * 40)) for x in range(width))
                    for y in range(height))
    return (b"\x89PNG\r\n\x1a\n" +
            chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)) +
            chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


def a_soft_proof_of_an_uploaded_image_comes_back_as_png(m):
    s = Server(m)
    try:
        status, body, headers = s.upload("/api/proof", {"printer": "Printer/default_cmyk.icc"},
                                         "image", "photo.png", tiny_png())
        assert status == 200, body
        assert headers.get("Content-Type") == "image/png"
        assert body.startswith(b"\x89PNG")
        status, body, _ = s.upload("/api/proof", {"printer": "Printer/missing.icc"}, "image",
                                   "photo.png", tiny_png())
        assert status == 404, body
        status, body, _ = s.upload("/api/proof", {"printer": "Printer/default_cmyk.icc"},
                                   "image", "photo.png", b"not an image")
        assert status == 400, body
        assert os.listdir(m.env()["TMPDIR"]) == []
    finally:
        s.stop()


def page_of(view, cid):
    """The index of the (sub-)page that has control `cid`, and the control."""
    for page in view["pages"]:
        for c in page["controls"]:
            if c["id"] == cid:
                return page["index"], c
    raise AssertionError(f"no control {cid}")


def a_page_deletes_to_the_trash_after_a_yes_and_saves_its_changes(m):
    shutil.copy(os.path.join(m.base, "InputRgb", "sRGB.icc"),
                os.path.join(m.base, "InputRgb", "other.icc"))
    m.profile("InputCmyk", "default_cmyk.icc")
    m.profile("InputLab", "LCMSLABI.ICM")
    m.profile("InputGray", "Gray.icc")
    assert m.run("preset", "new", "InputProfiles", "Office").returncode == 0
    # Every row names a profile: the page checks each named one when its data is taken.
    assert m.run("preset", "set", "InputProfiles", "Office", "RgbProfileName=other.icc",
                 "CmykProfileName=default_cmyk.icc", "LabProfileName=LCMSLABI.ICM",
                 "GrayProfileName=Gray.icc").returncode == 0
    s = Server(m)
    try:
        status, view = s.api("/api/page/open", {"kind": "InputProfiles", "name": "Office"})
        assert status == 200, view
        page, combo = page_of(view, 1111)
        assert combo["text"] == "other.icc", combo
        delete = {"page": page, "id": 1036, "action": "press"}
        status, view = s.api("/api/page/change", {"change": delete})
        assert status == 200 and view["question"], view
        assert os.path.exists(os.path.join(m.base, "InputRgb", "other.icc"))
        status, view = s.api("/api/page/change", {"change": delete, "answers": [True]})
        assert status == 200, view
        assert not os.path.exists(os.path.join(m.base, "InputRgb", "other.icc"))
        assert os.path.exists(os.path.join(m.data_home, "Trash", "files", "other.icc"))
        # A control the page hides cannot be changed from outside.
        hidden_page, hidden = page_of(view, 1073)
        assert not hidden["shown"]
        status, answer = s.api("/api/page/change", {"change": {
            "page": hidden_page, "id": 1073, "action": "check", "value": 1}})
        assert status == 409, answer
        page = page_of(view, 1111)[0]
        status, view = s.api("/api/page/change", {"change": {
            "page": page, "id": 1111, "action": "select", "value": "sRGB.icc"}})
        assert status == 200 and page_of(view, 1115)[1]["enabled"], view
        status, view = s.api("/api/page/save", {})
        assert status == 200 and view["done"] == "saved", view
        shown = m.run("preset", "show", "InputProfiles", "Office").stdout
        assert "RgbProfileName=" + os.path.join(m.base, "InputRgb", "sRGB.icc") in shown, shown
    finally:
        s.stop()


def sigterm_ends_the_server(m):
    s = Server(m)
    s.proc.send_signal(signal.SIGTERM)
    assert s.proc.wait(10) == 0
    s.stop()


def sigint_ends_the_server(m):
    s = Server(m)
    s.proc.send_signal(signal.SIGINT)
    assert s.proc.wait(10) == 0
    s.stop()


def the_idle_time_ends_the_server(m):
    s = Server(m, idle_seconds=1)
    try:
        assert s.proc.wait(10) == 0
        assert "no request" in s.proc.stderr.read()
    finally:
        s.stop()


def main():
    root = uitest.temp_root("kvr-ui-interface-")
    checks = Checks()
    try:
        for i, test in enumerate([
                port_zero_prints_the_port_it_got,
                a_request_without_the_token_is_401_and_changes_nothing,
                a_foreign_host_or_origin_is_403_and_changes_nothing,
                an_upload_whose_name_leaves_its_folder_is_400_and_writes_nothing,
                presets_are_made_renamed_and_the_current_name_follows,
                profiles_are_listed_with_their_facts_and_texts,
                a_soft_proof_of_an_uploaded_image_comes_back_as_png,
                a_page_deletes_to_the_trash_after_a_yes_and_saves_its_changes,
                sigterm_ends_the_server, sigint_ends_the_server,
                the_idle_time_ends_the_server]):
            checks.run(test.__name__, test, fresh_machine(root, f"m{i}"))
    finally:
        shutil.rmtree(root, ignore_errors=True)
    checks.exit()


main()
