"""Preset pages in Chromium, drawn from their page models: the input-profile page's four rows
and its intent rule for device links, an import of the wrong kind of profile, and the
PostScript page reduced to the RGB pixel controls."""
import os

import uitest
from uitest import Machine, Server, screenshot, wait_for

By, Select = uitest.selenium_names()

# Controls of the input-profile page: the file and intent combos of the RGB, CMYK, Lab and gray
# rows, and the RGB row's import button.
ROW_FILES = {"RGB": 1111, "CMYK": 1113, "Lab": 1114, "gray": 1118}
ROW_INTENTS = {"RGB": 1115, "CMYK": 1116, "Lab": 1117, "gray": 1119}
IMPORT_RGB = 1131
# The PostScript page's first sub-page: the integrated flag, and the controls of the RGB and
# CMYK rows (file combos, intent combos, embed boxes, all-the-same boxes of vector, pixel, text).
INTEGRATED = 1530
RGB_PIXEL = {1458, 1265}
ROW_CONTROLS = {1457, 1458, 1459, 1264, 1265, 1266, 1455, 1078, 1079, 1609,
                1460, 1461, 1462, 1267, 1268, 1269, 1456, 1080, 1081, 1610}


def control(driver, cid, page=None):
    """The form control of that identifier (on that page of the sheet, if given)."""
    sel = f'[data-id="{cid}"]' + (f'[data-page="{page}"]' if page is not None else "")
    found = driver.find_elements(By.CSS_SELECTOR, sel)
    assert found, f"no control {cid}"
    return found[0]


def open_preset(driver, s, kind, name, mask=None):
    driver.get(s.url)
    wait_for(lambda: driver.find_element(By.ID, f"open-{kind}"), f"the {kind} presets")
    Select(driver.find_element(By.ID, f"preset-{kind}")).select_by_value(name)
    if mask is not None:
        Select(driver.find_element(By.ID, f"mask-{kind}")).select_by_value(str(mask))
    driver.find_element(By.ID, f"open-{kind}").click()
    wait_for(lambda: driver.find_element(By.ID, "page").is_displayed() or
             driver.find_element(By.ID, "alert").text, "the page or a message")
    alert = driver.find_element(By.ID, "alert").text
    assert driver.find_element(By.ID, "page").is_displayed(), alert


def input_machine(root, name):
    m = Machine(root, name)
    m.profile("InputRgb", "sRGB.icc")
    m.profile("InputCmyk", "default_cmyk.icc")
    m.profile("InputLab", "LCMSLABI.ICM")
    m.profile("InputGray", "Gray.icc")
    link = os.path.join(m.base, "InputRgb", "rgb-link.icc")
    r = m.run("link", link, "--from", os.path.join(uitest.PROFILES, "sRGB.icc"),
              "--to", os.path.join(uitest.PROFILES, "default_cmyk.icc"))
    assert r.returncode == 0, r.stderr
    assert m.run("preset", "new", "InputProfiles", "Office").returncode == 0
    r = m.run("preset", "set", "InputProfiles", "Office", "RgbProfileName=sRGB.icc")
    assert r.returncode == 0, r.stderr
    return m


def the_input_page_shows_four_rows_and_a_device_link_disables_the_rgb_intent(driver, root):
    m = input_machine(root, "rows")
    s = Server(m)
    try:
        open_preset(driver, s, "InputProfiles", "Office")
        for row, cid in ROW_FILES.items():
            assert control(driver, cid).is_displayed(), row
            assert control(driver, ROW_INTENTS[row]).is_displayed(), row
            label = driver.find_element(By.CSS_SELECTOR,
                                        f'label[for="{control(driver, cid).get_attribute("id")}"]')
            assert label.text, row
        rgb = control(driver, ROW_FILES["RGB"])
        Select(rgb).select_by_value("rgb-link.icc")
        wait_for(lambda: not control(driver, ROW_INTENTS["RGB"]).is_enabled(),
                 "the RGB intent disabled for a device link")
        screenshot(driver, "input-page-device-link", "page")
        Select(control(driver, ROW_FILES["RGB"])).select_by_value("sRGB.icc")
        wait_for(lambda: control(driver, ROW_INTENTS["RGB"]).is_enabled(),
                 "the RGB intent enabled again")
        screenshot(driver, "input-page-rgb", "page")
    finally:
        s.stop()


def a_cmyk_profile_imported_into_the_rgb_row_shows_903_and_leaves_the_folder(driver, root):
    m = input_machine(root, "wrong-kind")
    s = Server(m)
    try:
        open_preset(driver, s, "InputProfiles", "Office")
        before = sorted(os.listdir(os.path.join(m.base, "InputRgb")))
        control(driver, IMPORT_RGB).click()
        wait_for(lambda: driver.find_element(By.ID, "choose-file").is_displayed(),
                 "the file choice")
        driver.find_element(By.ID, "choose-file-input").send_keys(
            os.path.join(uitest.PROFILES, "default_cmyk.icc"))
        driver.find_element(By.ID, "choose-file-ok").click()
        text = wait_for(lambda: driver.find_element(By.ID, "alert").text, "the page's message")
        screenshot(driver, "input-page-wrong-kind", "page")
        # The text the pages give error 903, around the file's name.
        template = s.api("/api/presets")[1]["errors"]["903"]
        assert all(part in text for part in template.split("%1")), (template, text)
        assert sorted(os.listdir(os.path.join(m.base, "InputRgb"))) == before
        rgb = Select(control(driver, ROW_FILES["RGB"]))
        assert rgb.first_selected_option.get_attribute("value") == "sRGB.icc"
    finally:
        s.stop()


def the_postscript_page_without_integrated_management_and_mask_1_shows_only_rgb_pixel(driver,
                                                                                      root):
    m = Machine(root, "postscript")
    assert m.run("preset", "new", "PsCs", "Office").returncode == 0
    s = Server(m)
    try:
        open_preset(driver, s, "PsCs", "Office", mask=1)
        flag = control(driver, INTEGRATED)
        page = flag.get_attribute("data-page")
        if flag.is_selected():
            flag.click()
            wait_for(lambda: not control(driver, INTEGRATED, page).is_selected() and
                     not control(driver, 1457, page).is_displayed(), "the page without it")
        shown = {cid for cid in ROW_CONTROLS
                 if driver.find_elements(By.CSS_SELECTOR, f'[data-id="{cid}"][data-page="{page}"]')
                 and control(driver, cid, page).is_displayed()}
        screenshot(driver, "postscript-page-rgb-pixel", "page")
        assert shown == RGB_PIXEL, sorted(shown)
    finally:
        s.stop()


uitest.run_browser_tests("kvr-ui-pages-", [
    the_input_page_shows_four_rows_and_a_device_link_disables_the_rgb_intent,
    a_cmyk_profile_imported_into_the_rgb_row_shows_903_and_leaves_the_folder,
    the_postscript_page_without_integrated_management_and_mask_1_shows_only_rgb_pixel,
])
