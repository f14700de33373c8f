// The pages as a person sees them: the real orbitel program serves a fresh demo site on
// 127.0.0.1 and headless Chromium signs in. Then every page is checked on a desktop screen, a
// phone and in dark mode (axe-core, layout, pictures, failed fetches, date links), the team pages
// are printed and an appointment is edited in its own window. Screenshots go to
// ORBITEL_TEST_OUTPUT (never into the source tree) for a human to look at.
// Environment: ORBITEL_BINARY (required), ORBITEL_TEST_OUTPUT, ORBITEL_CHROMIUM.

import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import fs from 'node:fs';
import os from 'node:os';
import { createRequire } from 'node:module';
import path from 'node:path';
import { chromium } from 'playwright-core';

const axeSource = fs.readFileSync(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');
const binary = process.env.ORBITEL_BINARY;
const outputFolder = process.env.ORBITEL_TEST_OUTPUT || path.join(os.tmpdir(), 'orbitel-browser-output');
const chromiumPath = process.env.ORBITEL_CHROMIUM || '/usr/bin/chromium';

// The demo directory's people, shown by full name, the apostrophe plain (the page escapes it).
const demoPeople = ['Alice Walker', 'Carla Diaz', 'Keiko Tanaka', "Sean O'Neill"];

// `orbitel serve` on a free port with its own data folder, so the demo site is made afresh.
function startServer(dataHome) {
  const child = spawn(binary, ['serve', '--listen', '127.0.0.1:0'],
    { env: { ...process.env, XDG_DATA_HOME: dataHome }, stdio: ['ignore', 'pipe', 'pipe'] });
  const server = { child, stdout: '', stderr: '' };
  server.exited = new Promise((resolve) => {
    child.on('exit', (code, signal) => resolve({ code, signal }));
    child.on('error', () => resolve({ code: null, signal: null }));  // never started, never ends
  });
  server.ready = new Promise((resolve, reject) => {
    // The access log is read to the end so the server never blocks on a full pipe.
    for (const name of ['stdout', 'stderr']) {
      child[name].setEncoding('utf8');
      child[name].on('data', (text) => {
        server[name] += text;
        const match = /Orbitel is serving .* at (http:\/\/127\.0\.0\.1:\d+\/)/.exec(server.stdout);
        if (match) resolve(match[1]);
      });
    }
    server.exited.then(({ code, signal }) =>
      reject(new Error(`orbitel serve ended (exit ${code}, signal ${signal}):\n${server.stderr}`)));
  });
  return server;
}

let stepsPassed = 0;
async function step(name, body) {
  await body().catch((error) => { console.log(`not ok - ${name}`); throw error; });
  stepsPassed += 1;
  console.log(`ok - ${name}`);
}

// What a page fetched that was refused or failed, and script errors: a page loads whole.
// (Each page's own status is checked where it is opened.)
function watchForFaults(page) {
  const faults = [];
  page.on('response', (response) => {
    const failed = response.status() >= 400 && !response.request().isNavigationRequest();
    if (failed) faults.push(`${response.status()} ${response.url()}`);
  });
  page.on('requestfailed', (request) => {
    const reason = request.failure()?.errorText;  // a late picture cancelled on leaving is no fault
    if (reason !== 'net::ERR_ABORTED') faults.push(`failed ${request.url()}: ${reason}`);
  });
  page.on('pageerror', (error) => faults.push(`script error: ${error.message}`));
  return faults;
}

const pageName = (page) => new URL(page.url()).pathname.slice(1);
const screenshot = (page, name) => page.screenshot({ path: path.join(outputFolder, `${name}.png`), fullPage: true });
const go = (page, action) => Promise.all([page.waitForNavigation(), action]);

async function signIn(page, name, password) {
  await page.fill('input[name="cstrUserName"]', name);
  await page.fill('input[name="cstrPassword"]', password);
  await go(page, page.click('button[name="action"][value="Login"]'));
}

async function checkSignIn(base, page) {
  const faults = watchForFaults(page);
  await step('a stranger signs in, after a wrong password, lands on the month table and signs out', async () => {
    await page.goto(new URL('CalendarMonth.asp', base).href);
    assert.equal(pageName(page), 'CalendarLogin.asp');
    assert.equal(await page.locator('input[name="cstrPassword"]').getAttribute('type'), 'password');
    await signIn(page, 'team', 'not-the-password');
    assert.equal((await page.locator('p.message').innerText()).trim(),
      'Sorry, wrong User Name or Password. Please try again.');
    await screenshot(page, 'sign-in');
    await signIn(page, 'team', 'team');  // the form still knows where to go
    assert.equal(pageName(page), 'CalendarMonth.asp');
    await go(page, page.locator('nav form.account button').click());
    assert.equal(pageName(page), 'default.asp');
    assert.deepEqual(faults, [], 'requests that failed');
  });
}

// An appointment opened from the personal week comes in its own window; saved, it shows on the day.
async function editAppointment(page) {
  await page.goto(new URL('CalendarPersonalWeek.asp?USER=alice', page.url()).href);
  const link = page.locator('main a[href^="CalendarItem.asp?UserName=alice&Name="]').first();
  const [form] = await Promise.all([page.context().waitForEvent('page'), link.click()]);
  const faults = watchForFaults(form);
  await form.waitForLoadState();
  await form.locator('input[name="subject"]').fill('Moved by the browser test');
  await go(form, form.locator('button[value="Save"]').click());
  const shown = pageName(form) === 'CalendarPersonalDay.asp' && (await form.locator('main').innerText()).includes('Moved by');
  await form.close();
  return [...faults, ...(shown ? [] : ['the saved appointment is not on the day'])];
}

// axe-core's serious and critical findings, one line per rule.
async function accessibilityFaults(page) {
  await page.addScriptTag({ content: axeSource });
  return page.evaluate(async () => (await window.axe.run(document, { resultTypes: ['violations'] })).violations
    .filter((v) => v.impact === 'serious' || v.impact === 'critical')
    .map((v) => `${v.id} (${v.nodes.length}): ${v.nodes.slice(0, 3)
      .map((node) => `${node.target.join(' ')} ${node.any.map((check) => check.message).join('; ')}`).join(' | ')}`));
}

// On every screen today's header stands out; on a phone the page does not scroll sideways,
// no text is under 12 pixels and today's column starts in view.
async function layoutFaults(page, phone) {
  return page.evaluate((phone) => {
    const faults = [];
    const today = document.querySelector('.grid td[bgcolor="#ff0000" i]');
    const other = document.querySelector('.grid td[bgcolor="#e5e5e5" i], .grid td[bgcolor="#f7f7f7" i]');
    if (today && other && getComputedStyle(today).backgroundColor === getComputedStyle(other).backgroundColor) {
      faults.push('today looks like any other day');
    }
    if (!phone) return faults;
    const width = document.documentElement.scrollWidth;
    if (width > window.innerWidth) faults.push(`${width} pixels wide`);
    const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
    const small = new Set();
    for (let node = walker.nextNode(); node; node = walker.nextNode()) {
      if (!node.textContent.trim() || !node.parentElement.checkVisibility()) continue;
      const size = parseFloat(getComputedStyle(node.parentElement).fontSize);
      if (size < 12) small.add(`"${node.textContent.trim().slice(0, 20)}" at ${size}px`);
    }
    if (small.size) faults.push(`small text: ${[...small].slice(0, 5).join(', ')}`);
    const box = today?.getBoundingClientRect();
    if (box && (box.left < 0 || box.right > window.innerWidth)) faults.push('today is off screen');
    return faults;
  }, phone);
}

// Each team page prints on one landscape sheet, with its marks and without the navigation.
async function printFaults(page) {
  await page.emulateMedia({ media: 'print' });
  const faults = [];
  if (await page.locator('nav.site').isVisible()) faults.push('the navigation prints');
  const marks = page.locator('.grid img');
  if (await marks.count() > 0 && !await marks.first().isVisible()) faults.push('the marks do not print');
  const pdf = await page.pdf({ preferCSSPageSize: true, printBackground: true });
  const sheets = (pdf.toString('latin1').match(/\/Type\s*\/Page\b/g) || []).length;
  if (sheets !== 1) faults.push(`prints on ${sheets} sheets`);
  await page.emulateMedia({ media: 'screen' });
  return faults;
}

const screens = {
  wide: { viewport: { width: 1280, height: 800 }, colorScheme: 'light' },
  phone: { viewport: { width: 390, height: 844 }, colorScheme: 'light', isMobile: true },
  dark: { viewport: { width: 1280, height: 800 }, colorScheme: 'dark' },
};
const teamPages = ['month', 'week', 'day', 'now'];
const signedInPages = [['home', 'default.asp'], ['month', 'CalendarMonth.asp'], ['week', 'CalendarWeek.asp'],
  ['day', 'CalendarDay.asp'], ['now', 'CalendarNow.asp'], ['people', 'CalendarUserList.asp'],
  ['personal-day', 'CalendarPersonalDay.asp?USER=alice'], ['personal-month', 'CalendarPersonalMonth.asp?USER=alice'],
  ['personal-week', 'CalendarPersonalWeek.asp?USER=alice'], ['appointment', null],
  ['new-appointment', 'CalendarItem.asp?UserName=alice&Method=New'], ['find-time', 'CalendarFindTime.asp'],
  ['options', 'CalendarOptions.asp'], ['installation-check', 'CalendarOptions.asp?action=Check']];

async function checkEveryPage(base, browser) {
  for (const [screen, options] of Object.entries(screens)) {
    await step(`every page passes axe-core on the ${screen} screen`, async () => {
      const context = await browser.newContext(options);
      const page = await context.newPage();
      const faults = watchForFaults(page);
      const visit = async (name, address, status = 200) => {
        const response = await page.goto(new URL(address, base).href);
        const found = response.status() === status ? [] : [`status ${response.status()}`];
        found.push(...await accessibilityFaults(page), ...await layoutFaults(page, screen === 'phone'));
        // Every page but the status pages ends with the program's version.
        const footer = status === 200 ? await page.locator('footer').innerText() : 'Orbitel 0';
        if (!/^Orbitel \d/.test(footer)) found.push('no version in the footer');
        found.push(...await page.evaluate(() => [...document.images].filter((image) => !image.complete ||
          image.naturalWidth === 0).map((image) => `picture ${image.getAttribute('src')} not loaded`)));
        if (teamPages.includes(name)) {
          const main = await page.locator('main').innerText();
          found.push(...demoPeople.filter((person) => !main.includes(person)).map((person) => `${person} not named`));
        }
        // The date bar's links (earlier, later, today) lead to pages that answer.
        for (const link of screen === 'wide' ? await page.locator('.date-bar a').all() : []) {
          const answer = await page.request.get(new URL(await link.getAttribute('href'), page.url()).href);
          if (answer.status() !== 200) found.push(`${await link.getAttribute('href')} answers ${answer.status()}`);
        }
        await screenshot(page, `${screen}-${name}`);
        if (screen === 'wide' && teamPages.includes(name)) found.push(...await printFaults(page));
        faults.push(...found.map((fault) => `${name}: ${fault}`));
      };
      await visit('sign-in', 'CalendarLogin.asp');
      await visit('not-found', 'no-such-page.asp', 404);
      await page.goto(new URL('CalendarLogin.asp', base).href);
      await signIn(page, 'admin', 'admin');
      for (const [name, address] of signedInPages) {
        // The appointment is the personal week's first, just visited.
        const item = page.locator('main a[href^="CalendarItem.asp?UserName=alice&Name="]').first();
        await visit(name, address ?? await item.getAttribute('href'));
        if (name === 'appointment' && screen === 'wide') faults.push(...await editAppointment(page));
      }
      await context.close();
      assert.deepEqual(faults, []);
    });
  }
}

async function main() {
  if (!binary || !fs.existsSync(binary)) throw new Error(`ORBITEL_BINARY must name the orbitel program (${binary})`);
  if (!fs.existsSync(chromiumPath)) throw new Error(`no browser at ${chromiumPath}`);
  fs.mkdirSync(outputFolder, { recursive: true });
  const dataHome = fs.mkdtempSync(path.join(os.tmpdir(), 'orbitel-browser-'));
  const server = startServer(dataHome);
  let browser = null;
  let failure = null;
  try {
    const base = await server.ready;
    console.log(`# server at ${base}, screenshots in ${outputFolder}`);
    // Playwright's own switches already keep the browser off the network and first-run pages.
    browser = await chromium.launch({ executablePath: chromiumPath, args: ['--disable-gpu', '--disable-quic'] });
    const page = await browser.newPage({ viewport: { width: 1280, height: 900 } });
    await checkSignIn(base, page).catch(async (error) => {
      await screenshot(page, 'failure').catch(() => {});  // the page as it was, beside the others
      throw error;
    });
    await page.close();
    await checkEveryPage(base, browser);
  } catch (error) {
    failure = error;
  }
  await browser?.close().catch(() => {});
  if (server.child.exitCode === null && server.child.signalCode === null) server.child.kill('SIGTERM');
  const { code, signal } = await server.exited;
  if (!failure) {
    await step('the server stops cleanly on SIGTERM', async () => {
      assert.equal(signal, null, `the server was ended by ${signal}`);
      assert.equal(code, 0, `the server exited with ${code}`);
      assert.match(server.stdout, /Orbitel stopped\.\s*$/);
    }).catch((error) => { failure = error; });
  }
  fs.rmSync(dataHome, { recursive: true, force: true });
  if (failure) {
    console.error(`# server output:\n${(server.stdout + server.stderr).replace(/^/gm, '#   ')}`);
    console.error(`FAILED: ${failure.stack || failure}`);
    process.exitCode = 1;
  } else {
    console.log(`\nall ${stepsPassed} steps passed`);
  }
}

main().catch((error) => {
  console.error(`FAILED: ${error.stack || error}`);
  process.exitCode = 1;
});
