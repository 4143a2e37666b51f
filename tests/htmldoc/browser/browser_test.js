// Drives headless Chromium over the documentation of the demo chip, opened from disk as a person would:
// searches for a register and follows it, reads the page through the DOM, checks the bit picture, uses the
// field decoder and the tree menu, and keeps a screenshot.
//
//   node browser_test.js DOCS_DIRECTORY SCREENSHOT.png
//
// Prints "N passed, N failed" and exits 1 when a check fails.
'use strict';

const { chromium } = require('playwright-core');
const fs = require('fs');
const os = require('os');
const path = require('path');
const { pathToFileURL } = require('url');

const [docs, screenshot] = process.argv.slice(2);
if (!docs || !screenshot) {
  console.error('usage: node browser_test.js DOCS_DIRECTORY SCREENSHOT.png');
  process.exit(2);
}

let passed = 0;
let failed = 0;
function check(what, actual, expected) {
  const a = JSON.stringify(actual);
  const e = JSON.stringify(expected);
  if (a === e) {
    ++passed;
  } else {
    ++failed;
    console.error(`FAIL ${what}\n  expected ${e}\n  actual   ${a}`);
  }
}

async function waitForUrl(frame, suffix) {
  for (let i = 0; i < 100 && !frame.url().endsWith(suffix); ++i) await new Promise((r) => setTimeout(r, 50));
  return frame.url().slice(frame.url().lastIndexOf('/') + 1);
}

// The text of the cells of every row of a table body.
function tableRows(frame, selector) {
  return frame.$$eval(selector, (rows) => rows.map((row) => Array.from(row.cells, (cell) => cell.textContent)));
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
  const errors = [];
  try {
    const page = context.pages()[0] || (await context.newPage());
    page.on('pageerror', (error) => errors.push(String(error)));
    page.on('console', (message) => { if (message.type() === 'error') errors.push(message.text()); });
    await page.goto(pathToFileURL(path.join(docs, 'index.html')).href);
    const menu = page.frame({ name: 'menu' });
    const content = page.frame({ name: 'content' });
    await menu.waitForSelector('#tree li');
    await content.waitForSelector('h1');

    // The title page: the chip, its root archive's comment with its line breaks, the archives.
    check('title', await content.textContent('h1'), 'chip');
    const titleComment = await content.$eval('section > p.cm', (p) => p.innerHTML);
    check('title comment keeps its line breaks', titleComment.split('<br>').length, 3);
    check('archives listed', (await content.$$('tr[id^="archive-"]')).length >= 10, true);

    // Search for a register by name and follow the result.
    await menu.fill('#search', 'isr');
    await menu.waitForSelector('#results a');
    const hits = await menu.$$eval('#results a', (links) => links.map((a) => a.textContent));
    check('search finds both ISR registers of the UARTs and DMA1',
      ['UART0.ISR', 'UART1.ISR', 'DMA1.ISR'].every((p) => hits.includes('ISR' + p)), true);
    await menu.click('#results a:has-text("UART0.ISR")');
    check('result opens the register', await waitForUrl(content, '#4000440C_ISR'), 'UART0.html#4000440C_ISR');
    await content.waitForSelector('[id="4000440C_ISR"] .pic');

    // The register read through the DOM.
    const isr = '[id="4000440C_ISR"]';
    check('heading', await content.textContent(`${isr} > h2`), 'ISR');
    const facts = await content.$$eval(`${isr} > dl.facts dd`, (dds) => dds.map((dd) => dd.textContent));
    check('address, offset, type, access, reset', facts, ['0x4000440C', '+0xC', 'Reg32', 'r-', '0x000000C0']);
    check('comment', await content.textContent(`${isr} > p.cm`), 'Interrupt and status register (read only).');
    const fields = await tableRows(content, `${isr} > table.fields > tbody > tr`);
    check('field names', fields.map((f) => f[1]),
      ['PE', 'FE', 'NF', 'ORE', 'IDLE', 'RXNE', 'TC', 'TXE', 'RXFLVL', 'BUSY']);
    check('field RXFLVL', fields[8].slice(0, 4), ['20:16', 'RXFLVL', 'r-', '0']);
    check('field TC reset', fields[6][3], '1');
    check('bit group', (await tableRows(content, `${isr} > table.groups > tbody > tr`))[0],
      ['ERRORS', 'PE, FE, NF, ORE', '0x0000000F']);

    // The bit picture: one box per field, and the reserved runs 31:25, 23:21 and 15:8.
    const boxes = await content.$$eval(`${isr} .pic .box`, (spans) => spans.map((s) => s.title));
    check('picture boxes', boxes, ['Reserved [31:25]', 'BUSY [24]', 'Reserved [23:21]', 'RXFLVL [20:16]',
      'Reserved [15:8]', 'TXE [7]', 'TC [6]', 'RXNE [5]', 'IDLE [4]', 'ORE [3]', 'NF [2]', 'FE [1]', 'PE [0]']);
    check('picture bit numbers', await content.$$eval(`${isr} .pic .bn`, (s) => s.length), 32);

    // The field decoder of CR1: UE = 1, PARITY = 2 (even), WL = 1 (9 bits).
    const cr1 = '[id="40004400_CR1"]';
    await content.locator(cr1).scrollIntoViewIfNeeded();
    await content.waitForSelector(`${cr1} .dec input`);
    await content.fill(`${cr1} .dec input`, '0x1401');
    const decoded = await tableRows(content, `${cr1} .dec tbody tr`);
    const byName = Object.fromEntries(decoded.map((row) => [row[0], [row[2], row[3]]]));
    check('decoded UE', byName.UE, ['0x1', '']);
    check('decoded PARITY', byName.PARITY, ['0x2', 'UART_PARITY_EVEN']);
    check('decoded WL', byName.WL, ['0x1', 'BITS_9']);
    check('decoded OVER8', byName.OVER8, ['0x0', 'OVERSAMPLE_16']);
    check('decoded rows', decoded.length, 10);
    await content.fill(`${cr1} .dec input`, '0x1FFFFFFFF');
    check('too wide a value', await content.textContent(`${cr1} .dec .err`), 'Wider than 32 bits.');
    await content.fill(`${cr1} .dec input`, '0x1401');

    // Bits no field owns are named when set: CR1 has no field at bits 1, 8, 11, 13, 14 and 16 to 31.
    for (const [value, warning] of [['0x1401', ''], ['0x1403', 'Reserved bits set: 1.'],
      ['0xC0016B01', 'Reserved bits set: 31:30, 16, 14:13, 11, 8.']]) {
      await content.fill(`${cr1} .dec input`, value);
      check(`reserved bits of ${value}`, await content.textContent(`${cr1} .dec .warn`), warning);
    }
    await content.fill(`${cr1} .dec input`, '0x1401');

    // A register found by its address, as a debugger's log prints it, in either case.
    for (const query of ['0x4000440C', '0x4000440c']) {
      await menu.fill('#search', query);
      await menu.waitForSelector('#results a:has-text("at 0x")');
      const found = await menu.$$eval('#results a', (links) => links.map((a) => a.textContent));
      check(`address search ${query}`, found, ['ISRUART0.ISR at 0x4000440C']);
    }
    await menu.click('#results a');
    check('address result opens the register', await waitForUrl(content, '#4000440C_ISR'),
      'UART0.html#4000440C_ISR');
    await menu.fill('#search', '0x4000FFF0');
    await menu.waitForSelector('#results p:has-text("No register")');
    check('no register at an address', await menu.textContent('#results p'), 'No register at 0x4000FFF0');
    await menu.fill('#search', '0x400044');
    await menu.waitForSelector('#results a:has-text("UART0.CR2")');
    check('an address prefix lists the registers from there',
      (await menu.$$eval('#results a', (links) => links.map((a) => a.textContent))).slice(0, 3),
      ['CR1UART0.CR1 at 0x40004400', 'CR2UART0.CR2 at 0x40004404', 'BRRUART0.BRR at 0x40004408']);

    // A field found by a word of its name, through a path query.
    await menu.fill('#search', 'uart1.brr.mant');
    await menu.waitForSelector('#results a:has-text("UART1.BRR.DIV_MANTISSA")');
    check('path query', await menu.$$eval('#results a', (l) => l.length), 1);

    // The tree: open Communication, then UART1 (its subtree is loaded on demand), then follow GTPR.
    await menu.fill('#search', '');
    await menu.click('#tree .label:has-text("Communication")');
    await menu.click('#tree li:has(> .row > a:text-is("UART1")) > .row > .tw');
    await menu.click('#tree a:text-is("GTPR")');
    check('tree link', await waitForUrl(content, '#4000481C_GTPR'), 'UART1.html#4000481C_GTPR');

    // Every field name of every register of the chip is readable whole in its bit picture: names too wide
    // for their bits are drawn upwards, and no box cuts its name.
    const pages = fs.readdirSync(docs).filter((f) => f.endsWith('.html') && !['index.html', 'menu.html', 'chip.html'].includes(f));
    let labels = 0;
    let vertical = 0;
    const cut = [];
    for (const file of pages) {
      await content.goto(pathToFileURL(path.join(docs, file)).href);
      const result = await content.evaluate(async () => {
        const frame = () => new Promise((resolve) => requestAnimationFrame(() => resolve()));
        for (const section of document.querySelectorAll('section.reg')) {
          if (!section.querySelector(':scope > table.fields')) continue;
          section.scrollIntoView();
          for (let i = 0; i < 50 && !section.querySelector(':scope > .pic'); ++i) await frame();
        }
        const out = { labels: 0, vertical: 0, cut: [] };
        document.querySelectorAll('.pic .box').forEach((box) => {
          const name = box.querySelector('.n');
          if (!name) return;
          ++out.labels;
          if (box.classList.contains('vert')) ++out.vertical;
          const b = box.getBoundingClientRect();
          const n = name.getBoundingClientRect();
          const inside = n.left >= b.left - 0.5 && n.right <= b.right + 0.5 && n.top >= b.top - 0.5 && n.bottom <= b.bottom + 0.5;
          if (!inside || !box.title.startsWith(name.textContent + ' [')) out.cut.push(box.title);
        });
        out.unprepared = Array.from(document.querySelectorAll('section.reg'))
          .filter((s) => s.querySelector(':scope > table.fields') && !s.querySelector(':scope > .pic')).length;
        return out;
      });
      labels += result.labels;
      vertical += result.vertical;
      cut.push(...result.cut.map((title) => `${file}: ${title}`));
      check(`${file}: every register has its picture`, result.unprepared, 0);
    }
    check('field names cut in the bit pictures', cut, []);
    check('bit pictures drawn with labels, some of them upwards', labels > 100 && vertical > 10, true);

    check('no script errors', errors, []);
    // Back to the decoded register for the picture kept as the test's artefact.
    await menu.fill('#search', 'cr1');
    await menu.click('#results a:has-text("UART0.CR1")');
    await content.waitForSelector(`${cr1} .dec input`);
    await content.fill(`${cr1} .dec input`, '0x1401');
    await page.screenshot({ path: screenshot });
  } finally {
    await context.close();
    fs.rmSync(profile, { recursive: true, force: true });
  }
}

main().then(
  () => {
    console.log(`${passed} passed, ${failed} failed`);
    process.exit(failed ? 1 : 0);
  },
  (error) => {
    console.error(error);
    console.log(`${passed} passed, ${failed + 1} failed`);
    process.exit(1);
  });
