// Times the documentation of a large chip in headless Chromium: the menu's first paint, a search, following
// a result to its page, opening a category and an instance of the tree. A timing report, not a test.
//
//   NODE_PATH=build/dev/tests/htmldoc/browser/node_modules node bench/doc_browser_timing.js DOCS_DIRECTORY QUERY
//
// (the browser test installs playwright-core there on its first run).
'use strict';

const { chromium } = require('playwright-core');
const fs = require('fs');
const os = require('os');
const path = require('path');
const { pathToFileURL } = require('url');

const [docs, query = 'ctrl'] = process.argv.slice(2);

async function timed(label, action) {
  const start = performance.now();
  const result = await action();
  console.log(`${label.padEnd(44)} ${(performance.now() - start).toFixed(0).padStart(6)} ms`);
  return result;
}

async function main() {
  const profile = fs.mkdtempSync(path.join(os.tmpdir(), 'vellxml-chromium-'));
  const context = await chromium.launchPersistentContext(profile, {
    executablePath: '/usr/bin/chromium',
    headless: true,
    args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-background-networking',
      '--disable-component-update', '--disable-sync'],
    viewport: { width: 1400, height: 900 },
  });
  try {
    const page = context.pages()[0] || (await context.newPage());
    await timed('index.html until the menu tree is shown', async () => {
      await page.goto(pathToFileURL(path.join(docs, 'index.html')).href);
      await page.frame({ name: 'menu' }).waitForSelector('#tree li');
    });
    const menu = page.frame({ name: 'menu' });
    const content = page.frame({ name: 'content' });
    await timed(`search "${query}" until results are shown`, async () => {
      await menu.fill('#search', query);
      await menu.waitForSelector('#results a');
    });
    const count = await menu.$$eval('#results a', (links) => links.length);
    console.log(`  ${count} results shown, chunks loaded: ${await menu.evaluate(() => document.scripts.length - 3)}`);
    const target = await menu.$eval('#results a', (a) => a.getAttribute('href'));
    await timed('follow the first result until its picture', async () => {
      await menu.click('#results a');
      const id = target.slice(target.indexOf('#') + 1);
      await content.waitForSelector(`[id="${id}"]`);
      await content.waitForFunction((anchor) => {
        const element = document.getElementById(anchor);
        const section = element && element.closest('section.reg');
        return section && section.querySelector('.pic');
      }, id);
    });
    console.log(`  page ${content.url().slice(content.url().lastIndexOf('/') + 1)}, ` +
      `${await content.evaluate(() => document.querySelectorAll('tr[id]').length)} field rows, ` +
      `${await content.evaluate(() => document.querySelectorAll('.pic').length)} pictures built`);
    await timed('type a value into the decoder', async () => {
      const input = await content.$('.dec input');
      await input.fill('0xA5A5A5A5');
      await content.waitForSelector('.dec tbody tr');
    });
    await timed('open the largest category', async () => {
      await menu.fill('#search', '');
      const labels = await menu.$$('#tree > ul > li > .row > .label');
      await labels[0].click();
      await menu.waitForSelector('#tree > ul > li.open li');
    });
    await timed('open its first instance (loads a menu chunk)', async () => {
      await menu.click('#tree > ul > li.open li .tw');
      await menu.waitForSelector('#tree > ul > li.open li.open li');
    });
    console.log(`  menu items in the DOM: ${await menu.evaluate(() => document.querySelectorAll('#tree li').length)}`);
  } finally {
    await context.close();
    fs.rmSync(profile, { recursive: true, force: true });
  }
}

main().catch((error) => { console.error(error); process.exit(1); });
