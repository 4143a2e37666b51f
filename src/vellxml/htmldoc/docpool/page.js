// Content pages: each register's bit picture and field decoder, made from its table of fields when the
// register first comes into view (or is the target of the address), so that a page with thousands of
// registers builds only what is looked at.
(function () {
  'use strict';

  function make(tag, className, text) {
    var node = document.createElement(tag);
    if (className) node.className = className;
    if (text !== undefined) node.textContent = text;
    return node;
  }

  function hex(value) { return '0x' + value.toString(16).toUpperCase(); }

  // The fields of a table: name, anchor, bit range and options ({value, name}).
  function fieldsOf(table, width) {
    var fields = [];
    Array.prototype.forEach.call(table.tBodies[0].rows, function (row) {
      var match = /^(\d+)(?::(\d+))?$/.exec(row.cells[0].textContent.trim());
      if (!match) return;
      var high = Number(match[1]);
      var low = match[2] === undefined ? high : Number(match[2]);
      if (high < low || low >= width) return;
      var options = [];
      row.querySelectorAll('table.opts tr').forEach(function (option) {
        options.push({ value: Number(option.getAttribute('data-v')), name: option.cells[1].textContent });
      });
      fields.push({ name: row.cells[1].textContent, id: row.id, high: Math.min(high, width - 1), low: low, options: options });
    });
    return fields;
  }

  // Bit numbers from width - 1 down to 0 over one box per field and per run of reserved bits.
  function picture(fields, width) {
    var grid = make('div', 'pic');
    grid.style.setProperty('--w', width);
    for (var bit = width - 1; bit >= 0; --bit) grid.appendChild(make('span', 'bn', String(bit)));
    var owner = new Array(width).fill(null);
    fields.forEach(function (field) {
      for (var b = field.low; b <= field.high; ++b) if (!owner[b]) owner[b] = field;
    });
    var boxes = [];
    for (var top = width - 1; top >= 0;) {
      var field = owner[top], bottom = top;
      while (bottom > 0 && owner[bottom - 1] === field) --bottom;
      var box = make('span', field ? 'box' : 'box rsv');
      box.style.gridColumn = (width - top) + ' / span ' + (top - bottom + 1);
      var range = top === bottom ? String(top) : top + ':' + bottom;
      if (field) {
        box.appendChild(make('span', 'n', field.name));
        box.title = field.name + ' [' + range + ']';
        box.addEventListener('click', function (id) { return function () { location.hash = id; }; }(field.id));
        box.field = field;
      } else {
        box.title = 'Reserved [' + range + ']';
        box.appendChild(document.createTextNode('–'));
      }
      grid.appendChild(box);
      boxes.push(box);
      top = bottom - 1;
    }
    grid.boxes = boxes;
    grid.owner = owner;
    return grid;
  }

  // A name wider than its box is turned to read upwards, as register manuals draw narrow fields; the
  // picture's row grows to the longest such name. Measured once the picture is laid out.
  function fitLabels(grid) {
    grid.boxes.forEach(function (box) {
      var name = box.querySelector('.n');
      if (name && name.getBoundingClientRect().width > box.clientWidth - 4) box.classList.add('vert');
    });
  }

  // "31:25, 8": the runs of bits set in value that no field owns, highest first.
  function reservedRuns(value, owner, width) {
    var runs = [];
    for (var bit = width - 1; bit >= 0; --bit) {
      if (owner[bit] || Math.floor(value / Math.pow(2, bit)) % 2 === 0) continue;
      var low = bit;
      while (low > 0 && !owner[low - 1] && Math.floor(value / Math.pow(2, low - 1)) % 2 === 1) --low;
      runs.push(bit === low ? String(bit) : bit + ':' + low);
      bit = low;
    }
    return runs;
  }

  function parseValue(text) {
    var t = text.trim().replace(/_/g, '');
    if (/^0x[0-9a-f]+$/i.test(t)) return parseInt(t.slice(2), 16);
    if (/^0b[01]+$/i.test(t)) return parseInt(t.slice(2), 2);
    if (/^[0-9]+$/.test(t)) return parseInt(t, 10);
    return NaN;
  }

  function fieldValue(value, field) {
    var bits = field.high - field.low + 1;
    return Math.floor(value / Math.pow(2, field.low)) % Math.pow(2, bits);
  }

  // An input for a register value and a table of every field's value and option.
  function decoder(fields, width, grid) {
    var box = make('div', 'dec');
    var label = make('label', null, 'Decode a value: ');
    var input = make('input');
    input.type = 'text';
    input.spellcheck = false;
    input.placeholder = '0x' + '0'.repeat(width / 4);
    label.appendChild(input);
    var error = make('span', 'err');
    var warning = make('span', 'warn');
    var table = make('table', 'dec-out');
    box.appendChild(label);
    box.appendChild(error);
    box.appendChild(warning);
    box.appendChild(table);
    input.addEventListener('input', function () {
      table.textContent = '';
      error.textContent = '';
      warning.textContent = '';
      grid.boxes.forEach(function (b) { var v = b.querySelector('.v'); if (v) b.removeChild(v); });
      if (!input.value.trim()) return;
      var value = parseValue(input.value);
      if (isNaN(value)) { error.textContent = 'Not a number: use 0x.., 0b.. or decimal.'; return; }
      if (value >= Math.pow(2, width)) { error.textContent = 'Wider than ' + width + ' bits.'; return; }
      var head = table.createTHead().insertRow();
      ['Field', 'Bits', 'Value', 'Option'].forEach(function (h) { head.appendChild(make('th', null, h)); });
      var body = table.createTBody();
      fields.forEach(function (field) {
        var v = fieldValue(value, field);
        var option = field.options.filter(function (o) { return o.value === v; })[0];
        var row = body.insertRow();
        row.insertCell().textContent = field.name;
        row.insertCell().textContent = field.high === field.low ? field.high : field.high + ':' + field.low;
        row.insertCell().textContent = hex(v) + (v > 9 ? ' (' + v + ')' : '');
        row.insertCell().textContent = option ? option.name : '';
      });
      grid.boxes.forEach(function (b) {
        if (b.field) b.appendChild(make('span', 'v', hex(fieldValue(value, b.field))));
      });
      var reserved = reservedRuns(value, grid.owner, width);
      if (reserved.length) warning.textContent = 'Reserved bits set: ' + reserved.join(', ') + '.';
    });
    return box;
  }

  function prepare(section) {
    if (section.getAttribute('data-ready')) return;
    section.setAttribute('data-ready', '1');
    var table = section.querySelector(':scope > table.fields');
    if (!table) return;
    var width = Number(table.getAttribute('data-w')) || 32;
    var fields = fieldsOf(table, width);
    var grid = picture(fields, width);
    section.insertBefore(grid, table);
    fitLabels(grid);
    section.insertBefore(decoder(fields, width, grid), table);
  }

  var registers = document.querySelectorAll('section.reg');
  if ('IntersectionObserver' in window) {
    var observer = new IntersectionObserver(function (entries) {
      entries.forEach(function (entry) {
        if (!entry.isIntersecting) return;
        observer.unobserve(entry.target);
        prepare(entry.target);
      });
    }, { rootMargin: '600px 0px' });
    registers.forEach(function (section) { observer.observe(section); });
  } else {
    registers.forEach(prepare);
  }

  function prepareTarget() {
    var target = document.getElementById(decodeURIComponent(location.hash.slice(1)));
    var section = target && target.closest('section.reg');
    if (section) prepare(section);
  }
  window.addEventListener('hashchange', prepareTarget);
  prepareTarget();
})();
