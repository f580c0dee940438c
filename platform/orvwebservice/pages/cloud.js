// Shared by the reference pages: bridge calls the way the real pages make them, and a log of
// what the client answered, kept in window.orvPage.log for people and tests alike.
(function () {
    'use strict';
    var counter = 0;
    var page = {
        log: [],
        loaded: false,
        origin: window.location.origin,
        // The first published bridge among names, or null outside the client.
        bridge: function () {
            for (var i = 0; i < arguments.length; ++i) {
                if (window[arguments[i]])
                    return window[arguments[i]];
            }
            return null;
        },
        key: function (prefix) {
            counter += 1;
            return (prefix || 'cb') + '_' + counter;
        },
        note: function (text) {
            page.log.push({ kind: 'note', text: String(text) });
            page.render();
        },
        call: function (name, method) {
            var args = Array.prototype.slice.call(arguments, 2);
            var target = window[name];
            if (!target || typeof target[method] !== 'function') {
                page.note('no bridge ' + name + '.' + method);
                return false;
            }
            page.log.push({ kind: 'call', text: name + '.' + method });
            page.render();
            target[method].apply(target, args);
            return true;
        },
        api: function (path, params) {
            var query = Object.keys(params || {}).map(function (k) {
                return encodeURIComponent(k) + '=' + encodeURIComponent(params[k]);
            }).join('&');
            return fetch(path + (query ? '?' + query : '')).then(function (r) { return r.json(); });
        },
        query: function (name) {
            return new URLSearchParams(window.location.search).get(name);
        },
        render: function () {
            var list = document.getElementById('log');
            if (!list)
                return;
            list.innerHTML = '';
            page.log.slice(-40).forEach(function (entry) {
                var item = document.createElement('li');
                item.textContent = entry.kind === 'callback'
                    ? 'answer ' + entry.key + (entry.data === undefined ? '' : ' ' + entry.data)
                    : entry.kind === 'notice' ? 'notice ' + entry.name + ' ' + JSON.stringify(entry.data)
                    : entry.text;
                list.appendChild(item);
            });
            list.scrollTop = list.scrollHeight;
        },
        sizeText: function (bytes) {
            if (bytes === undefined)
                return '';
            if (bytes < 1024)
                return bytes + ' B';
            return bytes < 1048576 ? (bytes / 1024).toFixed(0) + ' KB' : (bytes / 1048576).toFixed(1) + ' MB';
        },
        applyTheme: function (theme) {
            document.body.classList.toggle('dark', theme === 'dark');
        }
    };
    window.addEventListener('orvclientcallback', function (e) {
        page.log.push({ kind: 'callback', key: e.detail.key, data: e.detail.data });
        page.render();
    });
    window.addEventListener('orvclientnotice', function (e) {
        page.log.push({ kind: 'notice', name: e.detail.name, data: e.detail.data });
        page.render();
    });
    window.addEventListener('orvthemechange', function (e) { page.applyTheme(e.detail.theme); });
    document.addEventListener('DOMContentLoaded', function () {
        if (window.orvClientAPI)
            page.applyTheme(window.orvClientAPI.theme);
    });
    window.orvPage = page;
})();
