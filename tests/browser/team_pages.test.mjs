// The team pages as a person sees them: the real orbitel program serves a fresh demo site on
// 127.0.0.1 and headless Chromium signs in, reads the month table, walks the day page back and
// forth and opens the week and now pages. Then every page is opened on a desktop screen, on a
// phone and in dark mode and checked with axe-core, and the team pages are printed. A
// screenshot of each page is kept for a human to look at; nothing is written into the source
// tree.
//
// Environment:
//   ORBITEL_BINARY       the orbitel program to run (required)
//   ORBITEL_TEST_OUTPUT  folder for the screenshots (default: orbitel-browser-output in the
//                        system's temporary folder)
//   ORBITEL_CHROMIUM     the browser (default: /usr/bin/chromium)

import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import { createRequire } from 'node:module';
import path from 'node:path';
import { chromium } from 'playwright-core';

const axeSource = fs.readFileSync(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');

const binary = process.env.ORBITEL_BINARY;
const outputFolder =
  process.env.ORBITEL_TEST_OUTPUT || path.join(os.tmpdir(), 'orbitel-browser-output');
const chromiumPath = process.env.ORBITEL_CHROMIUM || '/usr/bin/chromium';

const chromiumArgs = ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
  '--disable-background-networking', '--disable-component-update', '--disable-sync'];

// People the demo directory always holds; the month table must show them by full name, the
// apostrophe included (the page escapes it, the browser must show it plainly).
const demoPeople = ['Alice Walker', 'Carla Diaz', 'Keiko Tanaka', "Sean O'Neill"];

const dayNames = ['Sunday', 'Monday', 'Tuesday', 'Wednesday', 'Thursday', 'Friday', 'Saturday'];
const monthNames = ['January', 'February', 'March', 'April', 'May', 'June', 'July', 'August',
  'September', 'October', 'November', 'December'];

// A calendar day without a time of day or zone: year, month 1-12, day 1-31.
const calendarDay = (year, month, day) => ({ year, month, day });

function addDays(date, count) {
  const moved = new Date(Date.UTC(date.year, date.month - 1, date.day + count));
  return calendarDay(moved.getUTCFullYear(), moved.getUTCMonth() + 1, moved.getUTCDate());
}

// The pages' heading form: "Sunday, November 01, 2026".
function headingDate(date) {
  const weekday = new Date(Date.UTC(date.year, date.month - 1, date.day)).getUTCDay();
  return `${dayNames[weekday]}, ${monthNames[date.month - 1]} ${String(date.day).padStart(2, '0')}, ${date.year}`;
}

function parseHeadingDate(text) {
  const match = /^(\w+), (\w+) (\d{2}), (\d{4})$/.exec(text);
  assert.ok(match, `"${text}" is not a date of the form "Monday, November 23, 2026"`);
  const month = monthNames.indexOf(match[2]) + 1;
  assert.ok(month > 0, `"${match[2]}" is not a month name`);
  const date = calendarDay(Number(match[4]), month, Number(match[3]));
  assert.equal(headingDate(date), text, 'the weekday in the heading does not match the date');
  return date;
}

// ---- The server -------------------------------------------------------------------------

// Runs `orbitel serve` on a free port of 127.0.0.1 with its own data folder, so the demo site is
// made afresh. Resolves once the server has said where it listens.
function startServer(dataHome) {
  const child = spawn(binary, ['serve', '--listen', '127.0.0.1:0'], {
    env: { ...process.env, XDG_DATA_HOME: dataHome },
    stdio: ['ignore', 'pipe', 'pipe'],
  });
  const server = { child, stdout: '', stderr: '', url: null };
  server.exited = new Promise((resolve) => {
    child.on('exit', (code, signal) => resolve({ code, signal }));
    // A program that could not be started never exits; there is nothing to wait for.
    child.on('error', () => resolve({ code: null, signal: null }));
  });
  child.stderr.setEncoding('utf8');
  child.stderr.on('data', (text) => { server.stderr += text; });
  child.stdout.setEncoding('utf8');
  server.ready = new Promise((resolve, reject) => {
    // The access log keeps coming for as long as the server runs; it is read to the end so the
    // server never blocks on a full pipe.
    child.stdout.on('data', (text) => {
      server.stdout += text;
      const match = /Orbitel is serving .* at (http:\/\/127\.0\.0\.1:\d+\/)/.exec(server.stdout);
      if (match && !server.url) resolve(server.url = match[1]);
    });
    child.on('error', (error) => reject(new Error(`cannot start ${binary}: ${error.message}`)));
    server.exited.then(({ code, signal }) => {
      if (!server.url) {
        reject(new Error(`orbitel serve ended before serving (exit ${code}, signal ${signal})\n` +
          `stdout:\n${server.stdout}\nstderr:\n${server.stderr}`));
      }
    });
  });
  return server;
}

async function stopServer(server) {
  if (server.child.exitCode === null && server.child.signalCode === null) server.child.kill('SIGTERM');
  return server.exited;
}

// ---- The steps --------------------------------------------------------------------------

let stepsPassed = 0;

async function step(name, body) {
  try {
    await body();
  } catch (error) {
    console.log(`not ok - ${name}`);
    throw error;
  }
  stepsPassed += 1;
  console.log(`ok - ${name}`);
}

// Everything the browser fetched that the server refused or failed, and script errors: a team
// page must load whole, pictures and style sheet included.
function watchForFaults(page) {
  const faults = [];
  page.on('response', (response) => {
    if (response.status() >= 400) faults.push(`${response.status()} ${response.url()}`);
  });
  page.on('requestfailed', (request) => {
    // A request the browser itself cancels on leaving the page (a late picture) is no fault.
    const reason = request.failure()?.errorText;
    if (reason !== 'net::ERR_ABORTED') faults.push(`failed ${request.url()}: ${reason}`);
  });
  page.on('pageerror', (error) => faults.push(`script error: ${error.message}`));
  return faults;
}

const pageName = (page) => new URL(page.url()).pathname.replace(/^\//, '');
const heading = async (page) => (await page.locator('.date-bar h1').innerText()).trim();
const screenshot = (page, name) => page.screenshot({ path: path.join(outputFolder, `${name}.png`), fullPage: true });

async function allPicturesLoaded(page) {
  return page.evaluate(() =>
    [...document.images].filter((image) => !image.complete || image.naturalWidth === 0)
      .map((image) => image.getAttribute('src')));
}

async function go(page, action) {
  await Promise.all([page.waitForNavigation(), action]);
}

// Fills in the sign-in form the page shows and sends it.
async function signIn(page, name, password) {
  await page.fill('input[name="cstrUserName"]', name);
  await page.fill('input[name="cstrPassword"]', password);
  await go(page, page.click('button[name="action"][value="Login"]'));
}

// A team page names every demo person and loads every picture; its screenshot is kept.
async function showsTheTeam(page, name) {
  const main = await page.locator('main').innerText();
  for (const person of demoPeople) assert.ok(main.includes(person), `the ${name} page does not name ${person}`);
  assert.deepEqual(await allPicturesLoaded(page), [], `pictures that did not load on the ${name} page`);
  await screenshot(page, name);
}

async function checkTeamPages(base, page) {
  const faults = watchForFaults(page);
  let today;

  await step('a stranger signs in, after a wrong password, and lands on the month table', async () => {
    await page.goto(new URL('CalendarMonth.asp', base).href);
    assert.equal(pageName(page), 'CalendarLogin.asp');
    assert.equal(await page.locator('input[name="cstrPassword"]').getAttribute('type'), 'password');
    await signIn(page, 'team', 'not-the-password');
    assert.equal((await page.locator('p.message').innerText()).trim(),
      'Sorry, wrong User Name or Password. Please try again.');
    // Still knows where to go after the second try.
    assert.equal(await page.locator('input[name="ReturnUrl"]').inputValue(), 'CalendarMonth.asp');
    await screenshot(page, 'sign-in');
    await signIn(page, 'team', 'team');
    assert.equal(pageName(page), 'CalendarMonth.asp');
    const title = await heading(page);
    // The home page names today; the month's heading names only the month.
    await page.goto(new URL('default.asp', base).href);
    today = parseHeadingDate((await heading(page)).replace(/^The team's calendars: /, ''));
    assert.equal(title, `Team month: ${monthNames[today.month - 1]} ${today.year}`);
  });

  await step('the month table shows the demo people with their busy marks', async () => {
    await page.goto(new URL('CalendarMonth.asp', base).href);
    const kinds = await page.locator('main .grid img[src*="_pix.gif"]').evaluateAll((images) =>
      [...new Set(images.map((image) => image.getAttribute('src')))]);
    assert.ok(kinds.length > 0, 'no busy mark anywhere in the month table');
    for (const kind of kinds) assert.match(kind, /^images\/(BUSY|TENTATIVE|OOF|FREE|Location|NoLocation)_pix\.gif$/);
    // A mark for today links to that person's day and says whose it is, which day and what it means.
    const spoken = await page.locator(`main a[href*="CalendarPersonalDay.asp?DAY=${today.day}&MONTH=${today.month}&YEAR=${today.year}&"] img[src*="_pix.gif"]`)
      .evaluateAll((images) => images.map((image) => [image.getAttribute('alt'), image.getAttribute('title')]));
    assert.ok(spoken.length > 0, 'nobody has a mark today, though the demo fills today');
    for (const [alt, title] of spoken) {
      assert.match(alt, new RegExp(`^[^,]+, \\w+day ${today.day} ${monthNames[today.month - 1]}: busy(, with a location)?$`));
      assert.equal(title, alt);
    }
    assert.equal(await page.getByRole('link', { name: 'Alice Walker: personal month', exact: true }).count(), 1);
    await showsTheTeam(page, 'month');
  });

  await step('the first day in the month header opens the team day, and the date bar walks it', async () => {
    const first = calendarDay(today.year, today.month, 1);
    await go(page, page.locator(`main a[href="CalendarDay.asp?DAY=1&MONTH=${today.month}&YEAR=${today.year}&USER="]`).click());
    assert.equal(await heading(page), `Team day: ${headingDate(first)}`);
    await showsTheTeam(page, 'day');
    // The day before the first is in the month before.
    for (const [link, offset] of [['previous', -1], ['next', 0], ['next', 1], ['next', 2], ['previous', 1]]) {
      await go(page, page.click(`.date-bar a.${link}`));
      assert.equal(await heading(page), `Team day: ${headingDate(addDays(first, offset))}`, `${link} to ${offset}`);
    }
    await go(page, page.click('.date-bar a.today'));
    assertTodayOrLater(parseHeadingDate((await heading(page)).replace(/^Team day: /, '')), today);
  });

  await step('the week and now pages show the team today', async () => {
    for (const [name, address, title] of [['week', 'CalendarWeek.asp', 'Team week: '],
      ['now', 'CalendarNow.asp', 'Who is busy now: ']]) {
      await page.goto(new URL(address, base).href);
      const shown = await heading(page);
      assert.ok(shown.startsWith(title), shown);
      assertTodayOrLater(parseHeadingDate(shown.slice(title.length)), today);
      await showsTheTeam(page, name);
    }
    // The now page has no way to other days, and a tile for each person says what it shows.
    assert.equal(await page.locator('.date-bar a').count(), 0);
    const tiles = await page.locator('main .grid img[src^="images/cap-"]').evaluateAll((images) =>
      images.map((image) => `${image.getAttribute('src')} ${image.getAttribute('alt')}`));
    assert.ok(tiles.length >= demoPeople.length, 'too few tiles on the now page');
    for (const tile of tiles) assert.match(tile, /^images\/cap-(busy|prov|fort|leer)\.gif .+: (busy|tentative|out of the office|free) now$/);
  });

  await step('finding a time for three people leads to the team day page of a time found', async () => {
    await go(page, page.locator('nav a', { hasText: 'Find a time' }).click());
    // Everyone on the team pages is ticked at first; keep three.
    for (const box of await page.locator('input[name="People"]').all()) await box.uncheck();
    for (const person of demoPeople.slice(0, 3)) await page.getByRole('checkbox', { name: person, exact: true }).check();
    await page.locator('select[name="Length"]').selectOption('30');
    await go(page, page.locator('main button[type="submit"]').click());
    const times = page.locator('ol.free-times li');
    assert.ok(await times.count() > 0, `no free time found: ${await page.locator('main').innerText()}`);
    const found = await times.first().innerText();
    assert.match(found, /^\w+, \w+ \d{2}, \d{4} \d+:\d{2} to \d+:\d{2}$/);
    await screenshot(page, 'find-time');
    await go(page, times.first().locator('a').click());
    assert.equal(await heading(page), `Team day: ${found.replace(/ \d+:\d{2} to .*$/, '')}`);
  });

  await step('the team signs out, the administrator signs in and changes an appointment in its own window', async () => {
    await go(page, page.locator('nav form.account button').click());
    assert.equal(pageName(page), 'default.asp');
    await page.goto(new URL('CalendarLogin.asp?ReturnUrl=CalendarOptions.asp', base).href);
    await signIn(page, 'admin', 'admin');
    assert.equal(pageName(page), 'CalendarOptions.asp');
    for (const person of demoPeople) {
      assert.ok(await page.getByRole('checkbox', { name: person, exact: true }).isChecked(), `${person} is not ticked`);
    }
    await page.goto(new URL('CalendarPersonalWeek.asp?USER=alice', base).href);
    const link = page.locator('main a[href^="CalendarItem.asp?UserName=alice&Name="]').first();
    const [form] = await Promise.all([page.context().waitForEvent('page'), link.click()]);
    const formFaults = watchForFaults(form);
    await form.waitForLoadState();
    await form.locator('input[name="subject"]').fill('Moved by the browser test');
    await screenshot(form, 'appointment');
    await go(form, form.locator('button[value="Save"]').click());
    assert.equal(pageName(form), 'CalendarPersonalDay.asp');
    assert.ok((await form.locator('main').innerText()).includes('Moved by the browser test'));
    assert.deepEqual(formFaults, []);
    await form.close();
  });

  await step('nothing the pages asked for failed', async () => {
    assert.deepEqual(faults, []);
  });
}

// ---- Every page on every screen ------------------------------------------------------------

const screens = [
  { name: 'wide', viewport: { width: 1280, height: 800 }, colorScheme: 'light' },
  { name: 'phone', viewport: { width: 390, height: 844 }, colorScheme: 'light', isMobile: true },
  { name: 'dark', viewport: { width: 1280, height: 800 }, colorScheme: 'dark' },
];

// The team pages each print on one landscape sheet.
const printedPages = ['month', 'week', 'day', 'now'];

// What axe-core finds serious or critical on the page as it is now, one line per rule.
async function accessibilityFaults(page) {
  await page.addScriptTag({ content: axeSource });
  return page.evaluate(async () => {
    const { violations } = await window.axe.run(document, { resultTypes: ['violations'] });
    return violations.filter((v) => v.impact === 'serious' || v.impact === 'critical')
      .map((v) => `${v.id} (${v.nodes.length}): ${v.nodes.slice(0, 3)
        .map((node) => `${node.target.join(' ')} ${node.any.map((check) => check.message).join('; ')}`)
        .join(' | ')}`);
  });
}

// A phone shows the page without sideways scrolling and without text below 12 pixels.
async function phoneFaults(page) {
  return page.evaluate(() => {
    const faults = [];
    const width = document.documentElement.scrollWidth;
    if (width > window.innerWidth) faults.push(`the page is ${width} pixels wide`);
    const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
    const small = new Set();
    for (let node = walker.nextNode(); node; node = walker.nextNode()) {
      if (!node.textContent.trim() || !node.parentElement.checkVisibility()) continue;
      const size = parseFloat(getComputedStyle(node.parentElement).fontSize);
      if (size < 12) small.add(`"${node.textContent.trim().slice(0, 20)}" at ${size}px`);
    }
    if (small.size) faults.push(`small text: ${[...small].slice(0, 5).join(', ')}`);
    // Today's column, where the grid has one, starts in view beside the names.
    const today = document.querySelector('.grid td[bgcolor="#ff0000" i]');
    if (today) {
      const box = today.getBoundingClientRect();
      if (box.left < 0 || box.right > window.innerWidth) faults.push('today is off screen');
    }
    return faults;
  });
}

// Today's header stands out from the other days in either scheme.
async function todayStandsOut(page) {
  return page.evaluate(() => {
    const today = document.querySelector('.grid td[bgcolor="#ff0000" i]');
    const other = document.querySelector('.grid td[bgcolor="#e5e5e5" i], .grid td[bgcolor="#f7f7f7" i]');
    if (!today || !other) return true;
    return getComputedStyle(today).backgroundColor !== getComputedStyle(other).backgroundColor;
  });
}

async function checkEveryPage(base, browser) {
  for (const screen of screens) {
    await step(`every page passes axe-core on the ${screen.name} screen`, async () => {
      const context = await browser.newContext({
        viewport: screen.viewport, colorScheme: screen.colorScheme, isMobile: !!screen.isMobile,
      });
      const page = await context.newPage();
      const faults = [];
      const visit = async (name, address, expectedStatus = 200) => {
        const response = await page.goto(new URL(address, base).href);
        if (response.status() !== expectedStatus) faults.push(`${name}: status ${response.status()}`);
        for (const fault of await accessibilityFaults(page)) faults.push(`${name}: ${fault}`);
        if (screen.name === 'phone') {
          for (const fault of await phoneFaults(page)) faults.push(`${name}: ${fault}`);
        }
        if (!await todayStandsOut(page)) faults.push(`${name}: today looks like any other day`);
        // Every page of the site (the status pages aside) ends with the program's version.
        if (expectedStatus === 200 && !/^Orbitel \d/.test(await page.locator('footer').innerText())) {
          faults.push(`${name}: the footer does not name the version`);
        }
        await screenshot(page, `${screen.name}-${name}`);
        if (screen.name === 'wide' && printedPages.includes(name)) {
          await page.emulateMedia({ media: 'print' });
          if (await page.locator('nav.site').isVisible()) faults.push(`${name}: the navigation prints`);
          const marks = page.locator('.grid img');
          if (await marks.count() > 0 && !await marks.first().isVisible()) {
            faults.push(`${name}: the marks do not print`);
          }
          const pdf = await page.pdf({ preferCSSPageSize: true, printBackground: true });
          const sheets = (pdf.toString('latin1').match(/\/Type\s*\/Page\b/g) || []).length;
          if (sheets !== 1) faults.push(`${name}: prints on ${sheets} sheets`);
          await page.emulateMedia({ media: 'screen' });
        }
      };

      await visit('sign-in', 'CalendarLogin.asp');
      await visit('not-found', 'no-such-page.asp', 404);
      await page.goto(new URL('CalendarLogin.asp', base).href);
      await signIn(page, 'admin', 'admin');
      for (const [name, address] of [['home', 'default.asp'], ['month', 'CalendarMonth.asp'],
        ['week', 'CalendarWeek.asp'], ['day', 'CalendarDay.asp'], ['now', 'CalendarNow.asp'],
        ['people', 'CalendarUserList.asp'], ['personal-day', 'CalendarPersonalDay.asp?USER=alice'],
        ['personal-month', 'CalendarPersonalMonth.asp?USER=alice'],
        ['personal-week', 'CalendarPersonalWeek.asp?USER=alice']]) {
        await visit(name, address);
      }
      await visit('appointment', await page.locator('main a[href^="CalendarItem.asp?UserName=alice&Name="]')
        .first().getAttribute('href'));
      for (const [name, address] of [['new-appointment', 'CalendarItem.asp?UserName=alice&Method=New'],
        ['find-time', 'CalendarFindTime.asp'], ['options', 'CalendarOptions.asp'],
        ['installation-check', 'CalendarOptions.asp?action=Check']]) {
        await visit(name, address);
      }
      await context.close();
      assert.deepEqual(faults, []);
    });
  }
}

// The pages take today from the server's clock; a run that crosses midnight sees the next day.
function assertTodayOrLater(shown, today) {
  const next = addDays(today, 1);
  assert.ok(headingDate(shown) === headingDate(today) || headingDate(shown) === headingDate(next),
    `expected ${headingDate(today)}, the page shows ${headingDate(shown)}`);
}

// ---- The run ----------------------------------------------------------------------------

async function main() {
  if (!binary) throw new Error('ORBITEL_BINARY must name the orbitel program to test');
  if (!fs.existsSync(binary)) throw new Error(`ORBITEL_BINARY ${binary} does not exist`);
  if (!fs.existsSync(chromiumPath)) throw new Error(`no browser at ${chromiumPath}`);
  fs.mkdirSync(outputFolder, { recursive: true });

  const dataHome = fs.mkdtempSync(path.join(os.tmpdir(), 'orbitel-browser-'));
  let server = null;
  let browser = null;
  let failure = null;
  try {
    server = startServer(dataHome);
    const base = await server.ready;
    console.log(`# server at ${base}, screenshots in ${outputFolder}`);
    browser = await chromium.launch({ executablePath: chromiumPath, args: chromiumArgs });
    const context = await browser.newContext({ viewport: { width: 1280, height: 900 } });
    const page = await context.newPage();
    try {
      await checkTeamPages(base, page);
    } catch (error) {
      // The page as it was when the check failed, next to the others.
      await screenshot(page, 'failure').catch(() => {});
      throw error;
    }
    await context.close();
    await checkEveryPage(base, browser);
  } catch (error) {
    failure = error;
  } finally {
    if (browser) await browser.close().catch(() => {});
    if (server) {
      const { code, signal } = await stopServer(server);
      if (!failure) {
        try {
          await step('the server stops cleanly on SIGTERM', async () => {
            assert.equal(signal, null, `the server was ended by ${signal}`);
            assert.equal(code, 0, `the server exited with ${code}\nstderr:\n${server.stderr}`);
            assert.match(server.stdout, /Orbitel stopped\.\s*$/);
          });
        } catch (error) {
          failure = error;
        }
      }
      if (failure) console.error(`# server output:\n${(server.stdout + server.stderr).replace(/^/gm, '#   ')}`);
    }
    fs.rmSync(dataHome, { recursive: true, force: true });
  }

  if (failure) {
    console.error(`\nFAILED: ${failure.stack || failure}`);
    process.exitCode = 1;
  } else {
    console.log(`\nall ${stepsPassed} steps passed`);
  }
}

main().catch((error) => {
  console.error(`FAILED: ${error.stack || error}`);
  process.exitCode = 1;
});
