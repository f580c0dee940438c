// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Runs at document creation, in a script world of the client's own that the page cannot reach,
// in every top-level document of an OrvWebView. The native side replaces ORV_REPORT_KEY.
//
// It tells the client which document this is (a random id), at which address and with which
// origin, in a console line marked with a key the page never sees. The client answers with
// verify(id) once it has published the bridges to this very document. Only then do the
// client's lines of script (window.orvClientAPI.callback(...) and the like, run in this world)
// go on to the page, as "orvnative" events that the page script turns into its API.
(function () {
    'use strict';
    if (window.__orvDocument)
        return;
    var bytes = new Uint8Array(16);
    crypto.getRandomValues(bytes);
    var id = Array.prototype.map.call(bytes, function (b) { return (b < 16 ? '0' : '') + b.toString(16); }).join('');
    var verified = false;

    function describe() {
        return { id: id, href: String(location.href), origin: String(self.origin) };
    }

    function deliver(detail) {
        if (verified)
            window.dispatchEvent(new CustomEvent('orvnative', { detail: detail }));
    }

    window.__orvDocument = {
        describe: describe,
        verify: function (which) {
            verified = which === id;
            if (verified)
                deliver({ kind: 'attach' });
            return verified;
        }
    };

    window.orvClientAPI = {
        callback: function (key, data) {
            var detail = { kind: 'callback', key: String(key) };
            if (data !== undefined)
                detail.data = String(data);
            deliver(detail);
        },
        commonNotice: function (name, data) { deliver({ kind: 'notice', name: String(name), data: data }); },
        updateStorageState: function (state) { deliver({ kind: 'notice', name: 'updateStorageState', data: state }); },
        __setTheme: function (theme) { deliver({ kind: 'theme', theme: String(theme) }); },
        __call: function (name) { deliver({ kind: 'call', name: String(name) }); }
    };

    console.debug('orv-document ORV_REPORT_KEY ' + JSON.stringify(describe()));
})();
