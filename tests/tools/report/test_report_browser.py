"""The report pages in a real browser: headless Chromium opens the pages written for the fixtures
and for the corpus files (where the corpus lies beside the project) and the DOM must hold every
set, item and finding the reader gives, its links must lead where they say, the map must answer
the keyboard, and a refused file's page must show its refusal instead of a tree. Screenshots are
kept as artefacts."""

import json
import os
import pathlib
import shutil
import subprocess
import tempfile

import pytest

webdriver = pytest.importorskip("selenium.webdriver")
from selenium.webdriver.chrome.options import Options  # noqa: E402
from selenium.webdriver.chrome.service import Service  # noqa: E402
from selenium.webdriver.common.by import By  # noqa: E402
from selenium.webdriver.common.keys import Keys  # noqa: E402
from selenium.webdriver.support.ui import Select  # noqa: E402

XSDDICT = os.environ["XSDDICT"]
HERE = pathlib.Path(__file__).resolve().parent
FIXTURES = HERE.parents[1] / "MXF" / "fixtures"
CORPUS = pathlib.Path(os.environ.get("CORPUS", HERE.parents[3] / "shared" / "mxf-corpus"))
ARTEFACTS = pathlib.Path(os.environ.get("ARTEFACTS", tempfile.gettempdir())) / "report-pages"
CHROMIUM = shutil.which("chromium") or "/usr/bin/chromium"
CHROMEDRIVER = shutil.which("chromedriver") or "/usr/bin/chromedriver"
MAX_PAGE = 1_000_000


@pytest.fixture(scope="module")
def browser():
    if not (os.path.exists(CHROMIUM) and os.path.exists(CHROMEDRIVER)):
        pytest.skip("Chromium and its driver are not installed (./scripts/dev.sh test installs them)")
    options = Options()
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--window-size=1400,1000",
                     "--disable-dev-shm-usage"):
        options.add_argument(argument)
    options.binary_location = CHROMIUM
    driver = webdriver.Chrome(service=Service(CHROMEDRIVER), options=options)
    yield driver
    driver.quit()


def make_reports(source, folder):
    done = subprocess.run([XSDDICT, "report", "-j", "2", "-o", str(folder), str(source)],
                          capture_output=True, text=True)
    assert done.returncode in (0, 3, 4), done.stderr
    return folder


def reader_json(path):
    done = subprocess.run([XSDDICT, "mxf", "--json", "--walk", str(path)], capture_output=True,
                          text=True)
    return json.loads(done.stdout)


@pytest.fixture(scope="module")
def pages(tmp_path_factory):
    """(mxf path, page path) of every fixture, every corpus file, and a file cut in its header."""
    out = tmp_path_factory.mktemp("reports")
    cut = out / "cut" / "cut-header.mxf"
    cut.parent.mkdir()
    cut.write_bytes((FIXTURES / "d10.mxf").read_bytes()[:100])
    sources = [(FIXTURES, out / "fixtures"), (cut.parent, out / "cut-pages")]
    if CORPUS.is_dir():
        sources.append((CORPUS, out / "corpus"))
    found = []
    for source, folder in sources:
        make_reports(source, folder)
        for mxf in sorted(source.rglob("*")):
            if mxf.is_file() and mxf.suffix.lower() == ".mxf":
                found.append((mxf, folder / mxf.relative_to(source).with_suffix(".html")))
    return found


def open_page(browser, page):
    browser.get(page.as_uri())
    problems = [entry for entry in browser.get_log("browser") if entry["level"] == "SEVERE"]
    assert problems == [], problems


def in_view(browser, element):
    return browser.execute_script(
        "var r=arguments[0].getBoundingClientRect();"
        "return r.bottom>0&&r.top<window.innerHeight&&r.height>0;", element)


def screenshot(browser, name):
    ARTEFACTS.mkdir(parents=True, exist_ok=True)
    browser.save_screenshot(str(ARTEFACTS / (name + ".png")))


def test_every_set_item_and_finding_is_on_the_page(browser, pages):
    checked = 0
    for mxf, page in pages:
        assert page.is_file(), page
        assert page.stat().st_size < MAX_PAGE, (page, page.stat().st_size)
        document = reader_json(mxf)
        if "refused" in document:
            continue
        open_page(browser, page)
        sets = document["sets"]
        shown = browser.execute_script(
            "return Array.from(document.querySelectorAll('details.set')).map(d=>d.id)")
        assert shown == ["s%d" % s["offset"] for s in sets], page
        names = browser.execute_script(
            "var m={};document.querySelectorAll('#tree tr[id]').forEach(function(r){"
            "m[r.id]=[r.cells[0].textContent,r.cells[1].textContent];});return m")
        items = [i for s in sets for i in s["items"]]
        assert len(names) == len(items), page
        for item in items:
            tag, name = names["i%d" % item["offset"]]
            assert tag == item["tag"]
            assert name.startswith(item["name"] or "(unknown item)"), (page, name, item["name"])
        rows = browser.execute_script(
            "return Array.from(document.querySelectorAll('#findings tbody tr')).map("
            "r=>[r.id,r.cells[0].textContent,r.cells[1].textContent,r.cells[5].textContent])")
        findings = document["findings"]
        assert sorted(r[0] for r in rows) == sorted("f%d" % i for i in range(len(findings)))
        for row_id, severity, rule, message in rows:
            finding = findings[int(row_id[1:])]
            assert (severity, rule, message) == (
                finding["severity"], finding["rule"], finding["message"])
            if finding["set"] is not None:
                assert browser.find_elements(By.ID, "m-" + row_id), (page, row_id)
        order = ["error", "warning", "info"]
        assert [r[1] for r in rows] == sorted((r[1] for r in rows), key=order.index)
        checked += 1
    assert checked >= 10


def test_a_findings_link_reveals_its_item_and_its_mark(browser, pages):
    clicked = 0
    for mxf, page in pages:
        if page.stat().st_size > MAX_PAGE:
            continue
        open_page(browser, page)
        links = browser.find_elements(By.CSS_SELECTOR, "#findings a[href^='#i']")
        if not links:
            continue
        browser.find_element(By.ID, "collapse-all").click()
        link = links[-1]
        target = link.get_attribute("href").split("#")[1]
        browser.execute_script("arguments[0].scrollIntoView()", link)
        link.click()
        row = browser.find_element(By.ID, target)
        assert row.is_displayed() and in_view(browser, row), (page, target)
        assert browser.switch_to.active_element == row
        screenshot(browser, "finding-" + page.stem)
        mark_link = browser.find_element(By.CSS_SELECTOR, "#findings a[href^='#m-']")
        browser.execute_script("arguments[0].scrollIntoView()", mark_link)
        mark_link.click()
        mark = browser.find_element(By.ID, mark_link.get_attribute("href").split("#")[1])
        assert in_view(browser, mark)
        clicked += 1
    if CORPUS.is_dir():
        assert clicked >= 3


def test_the_map_answers_the_keyboard(browser, pages):
    page = next(p for m, p in pages if m.name == "op1a-mpeg2-pcm.mxf")
    open_page(browser, page)
    bands = browser.find_elements(By.CSS_SELECTOR, ".band")
    assert len(bands) > 5
    assert [b.get_attribute("tabindex") for b in bands[:2]] == ["0", "-1"]
    bands[0].send_keys(Keys.ARROW_RIGHT)
    assert browser.switch_to.active_element == bands[1]
    info = browser.find_element(By.ID, "map-info").text
    assert info == bands[1].get_attribute("title")
    assert info.startswith("fill") or info.startswith("header metadata"), info
    browser.switch_to.active_element.send_keys(Keys.END)
    assert browser.switch_to.active_element == bands[-1]
    assert "random index pack" in browser.find_element(By.ID, "map-info").text
    screenshot(browser, "map-" + page.stem)


def test_a_refused_file_shows_its_refusal_not_a_tree(browser, pages):
    refused = [(m, p) for m, p in pages if "refused" in reader_json(m)]
    assert any(m.name == "cut-header.mxf" for m, _ in refused)
    for mxf, page in refused:
        open_page(browser, page)
        refusal = browser.find_element(By.ID, "refusal")
        rule = reader_json(mxf)["refused"]["rule"]
        assert rule in refusal.text
        assert browser.find_elements(By.CSS_SELECTOR, "details.set") == []
        assert browser.find_elements(By.ID, "tree") == []
        assert browser.find_elements(By.ID, "m-refusal")
        screenshot(browser, "refused-" + page.stem)


def test_the_index_sorts_and_filters(browser, pages, tmp_path):
    folder = make_reports(FIXTURES, tmp_path / "index")
    open_page(browser, folder / "index.html")
    table = browser.find_element(By.ID, "files")
    rows = lambda: [r for r in table.find_elements(By.CSS_SELECTOR, "tbody tr") if r.is_displayed()]  # noqa: E731
    fixtures = sorted(p.name for p in FIXTURES.glob("*.mxf"))
    assert [r.find_element(By.TAG_NAME, "a").text for r in rows()] == fixtures
    size_header = table.find_elements(By.CSS_SELECTOR, "thead th")[1]
    size_header.find_element(By.TAG_NAME, "button").click()
    sizes = [int(r.find_elements(By.TAG_NAME, "td")[1].get_attribute("data-v")) for r in rows()]
    assert sizes == sorted(sizes) and sizes[0] < sizes[-1]
    size_header.find_element(By.TAG_NAME, "button").click()
    assert [int(r.find_elements(By.TAG_NAME, "td")[1].get_attribute("data-v")) for r in rows()] == \
        sorted(sizes, reverse=True)
    browser.find_element(By.ID, "filter").send_keys("opatom")
    assert sorted(r.find_element(By.TAG_NAME, "a").text for r in rows()) == \
        ["opatom-audio.mxf", "opatom-video.mxf"]
    assert browser.find_element(By.ID, "shown").text == "2 of %d files" % len(fixtures)
    browser.find_element(By.ID, "filter").clear()
    browser.find_element(By.ID, "filter").send_keys(" ")  # fires input: the filter is emptied
    Select(browser.find_element(By.ID, "only")).select_by_value("refused")
    assert rows() == []
    screenshot(browser, "index-fixtures")
    first = folder / fixtures[0].replace(".mxf", ".html")
    assert first.is_file()


def test_the_corpus_index_lists_every_file(browser, pages):
    if not CORPUS.is_dir():
        pytest.skip("no corpus beside the project")
    folder = pages[-1][1]
    while folder.name != "corpus":
        folder = folder.parent
    open_page(browser, folder / "index.html")
    links = browser.find_elements(By.CSS_SELECTOR, "#files tbody a")
    corpus_files = [m for m, p in pages if str(p).startswith(str(folder))]
    assert len(links) == len(corpus_files)
    for link in links:
        assert (folder / link.get_attribute("href").split(str(folder) + "/")[1]).is_file()
    Select(browser.find_element(By.ID, "only")).select_by_value("refused")
    refused = [r for r in browser.find_elements(By.CSS_SELECTOR, "#files tbody tr") if r.is_displayed()]
    assert len(refused) == sum("refused" in reader_json(m) for m in corpus_files)
    screenshot(browser, "index-corpus")


# What an accessibility checker asks of these pages, checked in the page itself (axe-core is not
# packaged for Debian, and nothing is downloaded): text of the severity colours and badges at a
# contrast of at least 4.5 to its background, every link with a name, no link given a role that
# links may not take, findings' marks that a pointer reaches each of.
ACCESSIBILITY = """
function lum(c){var m=c.match(/[\\d.]+/g).slice(0,3).map(Number).map(function(v){v/=255;
  return v<=0.03928?v/12.92:Math.pow((v+0.055)/1.055,2.4);});
  return 0.2126*m[0]+0.7152*m[1]+0.0722*m[2];}
function back(e){for(;e;e=e.parentElement){var b=getComputedStyle(e).backgroundColor;
  if(b&&b!=='transparent'&&!/rgba\\(.*, 0\\)$/.test(b))return b;}return 'rgb(255, 255, 255)';}
var out=[];
document.querySelectorAll('.badge,.sev-error,.sev-warning,.sev-info').forEach(function(e){
  if(!e.textContent.trim())return;
  var a=lum(getComputedStyle(e).color),b=lum(back(e));
  var r=(Math.max(a,b)+0.05)/(Math.min(a,b)+0.05);
  if(r<4.5)out.push('contrast '+r.toFixed(2)+': '+e.className+' '+e.textContent.trim());});
document.querySelectorAll('a').forEach(function(a){
  if(!(a.textContent.trim()||a.getAttribute('aria-label')||a.getAttribute('title')))
    out.push('a link with no name: '+a.outerHTML.slice(0,120));
  if(a.hasAttribute('role'))out.push('a link with role '+a.getAttribute('role'));});
var seen={};
document.querySelectorAll('.mark').forEach(function(m){
  var x=Math.round(m.getBoundingClientRect().left);
  if(seen[x])out.push('marks over one another at '+x+'px: '+m.title);seen[x]=1;});
return out;
"""


def test_the_pages_meet_contrast_names_and_roles(browser, pages):
    checked = 0
    indexes = {page.parent for _, page in pages}
    for page in [p for _, p in pages] + sorted(f / "index.html" for f in indexes
                                                 if (f / "index.html").is_file()):
        open_page(browser, page)
        assert browser.execute_script(ACCESSIBILITY) == [], page
        checked += 1
    assert checked >= len(pages)


def test_the_index_columns_read_down(browser, pages, tmp_path):
    folder = make_reports(FIXTURES, tmp_path / "columns")
    open_page(browser, folder / "index.html")
    cells = browser.find_elements(By.CSS_SELECTOR, "#files tbody tr")
    durations = [r.find_elements(By.TAG_NAME, "td")[3].text for r in cells]
    assert durations and all(
        len(d) == 12 and d[2] == d[5] == ":" and d[8] == "." for d in durations), durations
    name = cells[0].find_element(By.TAG_NAME, "td")
    assert name.size["width"] >= 150, name.size  # a file's name, not a letter a line
