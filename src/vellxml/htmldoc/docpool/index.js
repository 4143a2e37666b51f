// index.html: "index.html#UART0.html%23anchor" opens that page in the content frame.
(function () {
  'use strict';
  var target = decodeURIComponent(location.hash.slice(1));
  // Only a page of this directory, never a scheme or another directory.
  if (/^[A-Za-z0-9_.-]+\.html(#[A-Za-z0-9_.-]*)?$/.test(target) && target.charAt(0) !== '.') {
    document.querySelector('iframe[name="content"]').src = target;
  }
})();
