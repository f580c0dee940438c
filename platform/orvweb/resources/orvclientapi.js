// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Runs at document creation in the main world of every top-level document of an OrvWebView.
// The native side prepends `var ORV_CONFIG = {...};` and Qt's qwebchannel.js to this text.
//
// Only documents at the client's own addresses set anything up (ORV_CONFIG.trust); everywhere
// else this script leaves the page untouched. Even there the bridges come only once the client
// has checked the document itself: its private script (resources/orvdocument.js) then says
// "attach", the web channel's transport is there, and the calls queued so far go out.
//
// What a page gets:
//   window.<name>            each bridge the view published, under its registration name. Calls
//                            made before the bridges are connected are queued and replayed in
//                            order, so a page may call bridges from its first script. The object
//                            stays valid when the client connects the bridges again.
//   window.orvClientAPI      the answers of the bridges:
//     .on(key, fn)           fn(data, key) for every answer to key; data is the text the bridge
//                            sent (JSON text for most answers), undefined for a bare answer
//     .once(key, fn)         the same, for the next answer only
//     .off(key[, fn])        forget one or all handlers of key
//     .callback(key, data)   what the client's answers end in; also fires a window event
//                            "orvclientcallback" whose detail is {key, data}
//     .onNotice(name, fn)    fn(data, name) for page-wide notices (commonNotice, and
//                            "updateStorageState" for the storage state); event "orvclientnotice"
//     .ready(fn)             fn(channel.objects) once the bridges are connected; event "orvbridgeready"
//     .theme, .schoolId, .courseId   the view's context; "orvthemechange" fires on a theme change
(function () {
    'use strict';
    if (window.orvClientAPI && window.orvClientAPI.__orv)
        return;

    var config = ORV_CONFIG;

    // The client decides for itself whether this document gets the bridges; this only keeps the
    // page API out of documents that never will.
    function ownAddress(trust) {
        var url;
        try {
            url = new URL(location.href);
        } catch (e) {
            return false;
        }
        if (url.protocol === 'file:' || url.protocol === 'qrc:')
            return true;
        if (url.protocol !== 'http:' && url.protocol !== 'https:')
            return false;
        // A sandboxed document has no origin of its own.
        if (self.origin !== url.origin || trust.origins.indexOf(url.origin) < 0)
            return false;
        return trust.paths.some(function (path) { return url.pathname.indexOf(path) === 0; });
    }
    if (!ownAddress(config.trust))
        return;

    var handlers = {};
    var noticeHandlers = {};
    var readyHandlers = [];
    var queued = [];
    var connections = [];
    var objects = null;
    var transportInUse = null;

    function fire(type, detail) {
        try {
            window.dispatchEvent(new CustomEvent(type, { detail: detail }));
        } catch (e) {
            console.error('orvClientAPI: ' + type + ' listener failed: ' + e);
        }
    }

    function invoke(list, a, b) {
        for (var i = 0; i < list.length; ++i) {
            try {
                list[i](a, b);
            } catch (e) {
                console.error('orvClientAPI: handler failed: ' + e);
            }
        }
    }

    function addTo(map, key, fn) {
        if (typeof fn !== 'function')
            return;
        key = String(key);
        (map[key] = map[key] || []).push(fn);
    }

    var api = {
        __orv: true,
        theme: config.theme,
        schoolId: config.schoolId,
        courseId: config.courseId,
        on: function (key, fn) { addTo(handlers, key, fn); return api; },
        once: function (key, fn) {
            var wrapper = function (data, k) { api.off(key, wrapper); fn(data, k); };
            return api.on(key, wrapper);
        },
        off: function (key, fn) {
            key = String(key);
            if (!fn)
                delete handlers[key];
            else if (handlers[key]) {
                handlers[key] = handlers[key].filter(function (h) { return h !== fn; });
                // One-off keys are the common case: do not keep an empty list per answer.
                if (handlers[key].length === 0)
                    delete handlers[key];
            }
            return api;
        },
        callback: function (key, data) {
            key = String(key);
            invoke((handlers[key] || []).slice(), data, key);
            fire('orvclientcallback', { key: key, data: data });
        },
        onNotice: function (name, fn) { addTo(noticeHandlers, name, fn); return api; },
        commonNotice: function (name, data) {
            name = String(name);
            invoke((noticeHandlers[name] || []).slice(), data, name);
            fire('orvclientnotice', { name: name, data: data });
        },
        updateStorageState: function (state) { api.commonNotice('updateStorageState', state); },
        ready: function (fn) {
            if (typeof fn !== 'function')
                return api;
            if (objects)
                setTimeout(function () { fn(objects); }, 0);
            else
                readyHandlers.push(fn);
            return api;
        },
        __setTheme: function (theme) {
            api.theme = theme;
            fire('orvthemechange', { theme: theme });
        }
    };
    window.orvClientAPI = api;

    // Runs one call made on a stand-in.
    function dispatch(c) {
        var object = objects[c.name];
        var member = object && object[c.member];
        if (typeof member === 'function')
            member.apply(object, c.args);
        else
            console.warn('orvClientAPI: no method ' + c.name + '.' + c.member);
    }

    function applyConnection(c, how) {
        var object = objects && objects[c.name];
        var signal = object && object[c.member];
        if (signal && typeof signal[how] === 'function')
            signal[how](c.fn);
        else if (how === 'connect')
            console.warn('orvClientAPI: no signal ' + c.name + '.' + c.member);
    }

    // Each published name is a stand-in that forwards to the bridge of the current connection,
    // and queues calls while there is none.
    function standIn(name) {
        var members = {};
        function member(key) {
            if (members[key])
                return members[key];
            var call = function () {
                var c = { name: name, member: key, args: Array.prototype.slice.call(arguments) };
                if (objects)
                    dispatch(c);
                else
                    queued.push(c);
            };
            call.connect = function (fn) {
                var c = { name: name, member: key, fn: fn };
                connections.push(c);
                applyConnection(c, 'connect');
            };
            call.disconnect = function (fn) {
                connections = connections.filter(function (c) {
                    if (c.name !== name || c.member !== key || c.fn !== fn)
                        return true;
                    applyConnection(c, 'disconnect');
                    return false;
                });
            };
            members[key] = call;
            return call;
        }
        return new Proxy({}, {
            get: function (target, key) {
                if (typeof key !== 'string' || key === 'then')
                    return undefined;
                var object = objects && objects[name];
                if (object) {
                    var value = object[key];
                    // Properties as they are; what the bridge does not have is not there.
                    if (typeof value !== 'function' && !(value && typeof value.connect === 'function'))
                        return value;
                }
                return member(key);
            }
        });
    }
    config.objects.forEach(function (name) {
        if (!(name in window))
            window[name] = standIn(name);
    });

    function connect(attempt) {
        var transport = window.qt && window.qt.webChannelTransport;
        if (!transport) {
            if (attempt < 100)
                setTimeout(function () { connect(attempt + 1); }, 20);
            return;
        }
        if (transport === transportInUse)
            return;
        // A new connection: nothing may go out through the old one, whose answers would reach
        // the new channel under numbers it never handed out.
        transportInUse = transport;
        objects = null;
        new QWebChannel(transport, function (channel) {
            if (transportInUse !== transport)
                return;
            objects = channel.objects;
            connections.forEach(function (c) { applyConnection(c, 'connect'); });
            var pending = queued;
            queued = [];
            pending.forEach(dispatch);
            var waiting = readyHandlers;
            readyHandlers = [];
            invoke(waiting, objects);
            fire('orvbridgeready', { names: Object.keys(objects) });
        });
    }

    // What the client sends, through the document's private script.
    window.addEventListener('orvnative', function (e) {
        var d = e.detail;
        if (!d || typeof d !== 'object')
            return;
        switch (d.kind) {
        case 'attach':
            connect(0);
            break;
        case 'callback':
            api.callback(d.key, d.data);
            break;
        case 'notice':
            api.commonNotice(d.name, d.data);
            break;
        case 'theme':
            api.__setTheme(d.theme);
            break;
        case 'call':
            if (typeof window[d.name] === 'function')
                window[d.name]();
            break;
        }
    });
})();
