"""The page of `kvrcolor ui` in Chromium: the presets of a kind renamed with the current-name
setting following, and a preset exported with its profiles and imported on another machine."""
import os
import time

import uitest
from uitest import Machine, Server, screenshot, wait_for

By, Select = uitest.selenium_names()


def click(driver, element_id):
    driver.find_element(By.ID, element_id).click()


def type_into(driver, element_id, text):
    field = driver.find_element(By.ID, element_id)
    field.clear()
    field.send_keys(text)


def renaming_the_current_preset_updates_the_current_name_setting(driver, root):
    m = Machine(root, "rename")
    s = Server(m)
    try:
        driver.get(s.url)
        wait_for(lambda: driver.find_element(By.ID, "newname-PsCs"), "the PsCs presets")
        type_into(driver, "newname-PsCs", "Office")
        click(driver, "new-PsCs")
        wait_for(lambda: "Office" in [o.get_attribute("value") for o in
                                      Select(driver.find_element(By.ID, "preset-PsCs")).options],
                 "the new preset in the list")
        Select(driver.find_element(By.ID, "preset-PsCs")).select_by_value("Office")
        click(driver, "current-button-PsCs")
        wait_for(lambda: driver.find_element(By.ID, "current-PsCs").text == "Current: Office",
                 "Office as the current preset")
        type_into(driver, "newname-PsCs", "Press")
        click(driver, "rename-PsCs")
        wait_for(lambda: driver.find_element(By.ID, "current-PsCs").text == "Current: Press",
                 "the current preset under its new name")
        screenshot(driver, "presets-renamed-current")
        ini = open(m.ini).read()
        assert "PsCsName=Press" in ini, ini
        assert os.path.exists(os.path.join(m.presets, "Press.PsCs"))
        assert not os.path.exists(os.path.join(m.presets, "Office.PsCs"))
    finally:
        s.stop()


def export_then_import_on_a_second_base_gives_the_same_preset_and_profiles(driver, root):
    a = Machine(root, "a")
    b = Machine(root, "b")
    a.profile("InputRgb", "sRGB.icc")
    a.profile("InputCmyk", "default_cmyk.icc")
    assert a.run("preset", "new", "InputProfiles", "Office").returncode == 0
    r = a.run("preset", "set", "InputProfiles", "Office", "RgbProfileName=sRGB.icc",
              "CmykProfileName=default_cmyk.icc", "RgbRenderingIntent=3")
    assert r.returncode == 0, r.stderr
    downloads = os.path.join(root, "downloads")
    os.makedirs(downloads, exist_ok=True)
    driver.execute_cdp_cmd("Page.setDownloadBehavior",
                           {"behavior": "allow", "downloadPath": downloads})
    sa = Server(a)
    try:
        driver.get(sa.url)
        link = wait_for(lambda: driver.find_element(By.ID, "export-InputProfiles"),
                        "the export link")
        link.click()
        zip_path = os.path.join(downloads, "Office.InputProfiles.zip")
        wait_for(lambda: os.path.exists(zip_path) and os.path.getsize(zip_path) > 0,
                 "the downloaded archive", timeout=20)
        screenshot(driver, "presets-exported")
    finally:
        sa.stop()
    sb = Server(b)
    try:
        driver.get(sb.url)
        wait_for(lambda: driver.find_element(By.ID, "import-file"), "the import form")
        driver.find_element(By.ID, "import-file").send_keys(zip_path)
        click(driver, "import-button")
        wait_for(lambda: "Imported" in driver.find_element(By.ID, "status").text,
                 "the import's report")
        wait_for(lambda: "Office" in [o.get_attribute("value") for o in Select(
            driver.find_element(By.ID, "preset-InputProfiles")).options],
                 "the imported preset in the list")
        screenshot(driver, "presets-imported")
    finally:
        sb.stop()
    show_a = a.run("preset", "show", "InputProfiles", "Office").stdout.replace(a.dir, "<m>")
    show_b = b.run("preset", "show", "InputProfiles", "Office").stdout.replace(b.dir, "<m>")
    assert show_a == show_b, (show_a, show_b)
    assert "(exists)" in show_b
    for rel in ("InputRgb/sRGB.icc", "InputCmyk/default_cmyk.icc"):
        with open(os.path.join(a.base, rel), "rb") as fa, open(os.path.join(b.base, rel),
                                                               "rb") as fb:
            assert fa.read() == fb.read(), rel


uitest.run_browser_tests("kvr-ui-presets-", [
    renaming_the_current_preset_updates_the_current_name_setting,
    export_then_import_on_a_second_base_gives_the_same_preset_and_profiles,
])
