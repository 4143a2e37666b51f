// The menu frame: the tree of the chip and the search box.
//
// Pages opened from disk cannot fetch, so data arrive as script files that call back into this one:
// menu.js calls vellxmlMenu.tree, menu/N.js vellxmlMenu.chunk (the subtrees of some instances),
// search/index.js vellxmlSearch.index and search/N.js vellxmlSearch.chunk (sorted search entries).
// A node's children are made when it is first opened, a few hundred at a time.
(function () {
  'use strict';

  var BATCH = 400;        // children shown per step of a long list
  var RESULTS = 100;      // search results shown
  var SEARCH_CHUNKS = 8;  // search chunks loaded for one query at most

  function make(tag, className, text) {
    var node = document.createElement(tag);
    if (className) node.className = className;
    if (text !== undefined) node.textContent = text;
    return node;
  }

  function loadScript(src) {
    var script = document.createElement('script');
    script.src = src;
    document.head.appendChild(script);
  }

  // Loads numbered chunk files once each and runs the callbacks waiting for them.
  function ChunkLoader(directory) {
    this.directory = directory;
    this.loaded = {};
    this.waiting = {};
  }
  ChunkLoader.prototype.need = function (n, callback) {
    if (this.loaded[n]) { callback(); return; }
    if (this.waiting[n]) { this.waiting[n].push(callback); return; }
    this.waiting[n] = [callback];
    loadScript(this.directory + '/' + n + '.js');
  };
  ChunkLoader.prototype.arrived = function (n) {
    this.loaded[n] = true;
    var callbacks = this.waiting[n] || [];
    delete this.waiting[n];
    callbacks.forEach(function (f) { f(); });
  };

  // ---------------------------------------------------------------------------------------------------
  // The tree.

  var menuChunks = new ChunkLoader('menu');
  var subtrees = {};  // page file -> the instance's node

  // A tree item: label, link, kind letter and a function giving its children (through a callback), or
  // null for a leaf.
  function item(label, href, kind, children) {
    var li = make('li');
    var row = make('div', 'row');
    var toggle = make('span', 'tw' + (children ? '' : ' leaf'));
    var link;
    if (href) {
      link = make('a', 'k-' + kind, label);
      link.href = href;
      link.target = 'content';
    } else {
      link = make('span', 'label k-' + kind, label);
    }
    row.appendChild(toggle);
    row.appendChild(link);
    li.appendChild(row);
    if (children) {
      var list = null;
      var flip = function () {
        if (list) {
          li.classList.toggle('open');
          list.hidden = !li.classList.contains('open');
          return;
        }
        li.classList.add('open');
        list = make('ul');
        li.appendChild(list);
        children(function (specs) { appendBatch(list, specs, 0); });
      };
      toggle.addEventListener('click', flip);
      if (!href) link.addEventListener('click', flip);
      li.flip = flip;
    }
    return li;
  }

  // Adds specs[from ...] to the list, BATCH at a time, with a "more" entry for the rest.
  function appendBatch(list, specs, from) {
    var end = Math.min(specs.length, from + BATCH);
    for (var i = from; i < end; ++i) list.appendChild(specs[i]());
    if (end < specs.length) {
      var more = make('li', 'more', '… ' + (specs.length - end) + ' more');
      more.addEventListener('click', function () {
        list.removeChild(more);
        appendBatch(list, specs, end);
      });
      list.appendChild(more);
    }
  }

  // Child specs of a node: functions that make the items, so that nothing is built before it is shown.
  function childSpecs(page, node) {
    var children = node[3] || [];
    return children.map(function (child) {
      return function () { return nodeItem(page, node[2], child); };
    });
  }

  // A node of an instance subtree: [kind, label, anchor, children], or a field's bare name.
  function nodeItem(page, parentAnchor, node) {
    if (typeof node === 'string') return item(node, page + '#' + parentAnchor + '.' + node, 'f', null);
    var children = node[3] && node[3].length ? function (done) { done(childSpecs(page, node)); } : null;
    return item(node[1], page + '#' + node[2], node[0], children);
  }

  function instanceItem(entry) {
    var kind = entry[0], label = entry[1], page = entry[2], chunk = entry[3];
    return item(label, page, kind, function (done) {
      menuChunks.need(chunk, function () {
        var node = subtrees[page];
        done(node ? childSpecs(page, node) : []);
      });
    });
  }

  window.vellxmlMenu = {
    tree: function (data) {
      var root = make('ul');
      data.groups.forEach(function (group) {
        var entries = group[1];
        root.appendChild(item(group[0] + ' (' + entries.length + ')', null, 'g', function (done) {
          done(entries.map(function (entry) { return function () { return instanceItem(entry); }; }));
        }));
      });
      var archives = data.archives;
      root.appendChild(item('Archives (' + archives.length + ')', null, 'g', function (done) {
        done(archives.map(function (a) { return function () { return item(a[0], a[1], 'm', null); }; }));
      }));
      var tree = document.getElementById('tree');
      tree.textContent = '';
      tree.appendChild(root);
      // A small chip opens its only category.
      if (data.groups.length === 1) root.firstChild.flip();
    },
    chunk: function (n, nodes) {
      Object.keys(nodes).forEach(function (page) { subtrees[page] = nodes[page]; });
      menuChunks.arrived(n);
    }
  };

  // ---------------------------------------------------------------------------------------------------
  // The search.

  // Kinds: 0 field, 1 register, 2 structure, 3 array, 4 memory or external, 5 instance, 6 register by
  // address (its key is "0x" and the eight address digits that start its anchor).
  var KIND_LETTER = ['f', 'r', 's', 'a', 'm', 's', 'r'];
  var KIND_RANK = [4, 1, 2, 2, 3, 0, 1];  // instances first, then registers, structures, blocks, fields
  var searchChunks = new ChunkLoader('search');
  var searchIndex = null;
  var entriesOf = {};  // chunk number -> {entries, keys}
  var generation = 0;

  function lowerAscii(text) {
    return text.replace(/[A-Z]/g, function (c) { return String.fromCharCode(c.charCodeAt(0) + 32); });
  }
  function anchorName(text) {
    return text.replace(/[^A-Za-z0-9_]/g, '_') || '_';
  }
  function kindOf(entry) { return (entry[2] || 0) & 7; }

  function nameOf(entry) {
    if (kindOf(entry) === 5) return searchIndex.pages[entry[0]][1];
    var path = entry[1].slice(9);
    return path.slice(path.lastIndexOf('.') + 1);
  }
  // The path as the debugger writes it: "UART0.CH[2].CCR".
  function pathOf(entry) {
    var instance = searchIndex.pages[entry[0]][1];
    if (kindOf(entry) === 5) return instance;
    var path = entry[1].slice(9).replace(/\.(\d+)(?=\.|$)/g, '[$1]').replace(/\.-(?=\.|$)/g, '.>');
    return instance + '.' + path;
  }
  function keyOf(entry) {
    if (kindOf(entry) === 6) return '0x' + lowerAscii(entry[1].slice(0, 8));
    return lowerAscii(anchorName(nameOf(entry))).slice((entry[2] || 0) >> 3);
  }

  window.vellxmlSearch = {
    index: function (data) {
      searchIndex = data;
      // Text typed before the index arrived.
      if (input.value.trim()) search(input.value);
    },
    chunk: function (n, entries) {
      entriesOf[n] = { entries: entries, keys: entries.map(keyOf) };
      searchChunks.arrived(n);
    }
  };

  // The chunks whose key range can hold keys that start with prefix.
  function chunksFor(prefix) {
    var found = [];
    searchIndex.chunks.forEach(function (range, n) {
      if (range[1] >= prefix && range[0].slice(0, prefix.length) <= prefix) found.push(n);
    });
    return found;
  }

  function lowerBound(keys, prefix) {
    var low = 0, high = keys.length;
    while (low < high) {
      var middle = (low + high) >> 1;
      if (keys[middle] < prefix) low = middle + 1; else high = middle;
    }
    return low;
  }

  var input = document.getElementById('search');
  var results = document.getElementById('results');
  var selected = -1;

  function select(index) {
    var links = results.querySelectorAll('a');
    if (!links.length) return;
    if (selected >= 0 && links[selected]) links[selected].classList.remove('sel');
    selected = (index + links.length) % links.length;
    links[selected].classList.add('sel');
    links[selected].scrollIntoView({ block: 'nearest' });
  }

  function show(hits, more, query) {
    results.textContent = '';
    selected = -1;
    if (!hits.length) {
      results.appendChild(make('p', null, (/^0x/i.test(query) ? 'No register at ' : 'Nothing named ') + query));
      return;
    }
    hits.forEach(function (hit) {
      var entry = hit.entry;
      var page = searchIndex.pages[entry[0]][0];
      var link = make('a', 'k-' + KIND_LETTER[kindOf(entry)]);
      link.href = kindOf(entry) === 5 ? page : page + '#' + entry[1];
      link.target = 'content';
      link.appendChild(make('b', null, nameOf(entry)));
      link.appendChild(make('span', null, pathOf(entry) + (kindOf(entry) === 6 ? ' at 0x' + entry[1].slice(0, 8) : '')));
      results.appendChild(link);
    });
    if (more) results.appendChild(make('p', null, 'More matches: type more of the name.'));
  }

  function search(text) {
    var query = lowerAscii(text.trim());
    var mine = ++generation;
    if (!query || !searchIndex) { results.textContent = ''; return; }
    // "uart0.cr" looks for names starting with "cr" whose path holds "uart0.".
    var cut = query.lastIndexOf('.');
    var last = query.slice(cut + 1).replace(/\[.*$/, '');
    var filter = cut >= 0 ? query.slice(0, cut + 1) : null;
    if (!last) { results.textContent = ''; return; }
    var prefix = anchorName(last);
    var chunks = chunksFor(prefix);
    var limited = chunks.length > SEARCH_CHUNKS;
    chunks = chunks.slice(0, SEARCH_CHUNKS);
    var pending = chunks.length;
    var finish = function () {
      if (mine !== generation) return;
      var hits = [], more = limited;
      chunks.forEach(function (n) {
        var data = entriesOf[n];
        for (var i = lowerBound(data.keys, prefix); i < data.keys.length; ++i) {
          if (data.keys[i].slice(0, prefix.length) !== prefix) break;
          var entry = data.entries[i];
          if (filter && lowerAscii(pathOf(entry)).indexOf(filter) < 0) continue;
          if (hits.length >= 3 * RESULTS) { more = true; break; }
          hits.push({ entry: entry, exact: data.keys[i] === prefix && !((entry[2] || 0) >> 3), order: hits.length });
        }
      });
      hits.sort(function (a, b) {
        return (b.exact - a.exact) || (KIND_RANK[kindOf(a.entry)] - KIND_RANK[kindOf(b.entry)]) || (a.order - b.order);
      });
      if (hits.length > RESULTS) { hits.length = RESULTS; more = true; }
      show(hits, more, text.trim());
    };
    if (!pending) { finish(); return; }
    chunks.forEach(function (n) {
      searchChunks.need(n, function () { if (--pending === 0) finish(); });
    });
  }

  var timer = null;
  input.addEventListener('input', function () {
    clearTimeout(timer);
    timer = setTimeout(function () { search(input.value); }, 120);
  });
  input.addEventListener('keydown', function (event) {
    if (event.key === 'ArrowDown') { select(selected + 1); event.preventDefault(); }
    else if (event.key === 'ArrowUp') { select(selected - 1); event.preventDefault(); }
    else if (event.key === 'Enter') {
      clearTimeout(timer);
      var links = results.querySelectorAll('a');
      if (links.length) links[Math.max(selected, 0)].click();
      else search(input.value);
    } else if (event.key === 'Escape') {
      input.value = '';
      results.textContent = '';
    }
  });
})();
