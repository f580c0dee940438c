// SPDX-License-Identifier: LGPL-2.1-or-later
//
// Runs at document creation in the main world of every top-level document of an OrvWebView.
// The native side prepends `var ORV_CONFIG = {...};` and Qt's qwebchannel.js to this text.
//
// Only pages the client trusts find qt.webChannelTransport (the view attaches its channel to
// nothing else); everywhere else this script leaves the page untouched.
//
// What a page gets:
//   window.<name>            each bridge the view published, under its registration name. Until
//                            the channel is up, calls made on it are queued and replayed in order,
//                            so a page may call bridges from its first script.
//   window.orvClientAPI      the answers of the bridges:
//     .on(key, fn)           fn(data, key) for every answer to key; data is the text the bridge
//                            sent (JSON text for most answers), undefined for a bare answer
//     .once(key, fn)         the same, for the next answer only
//     .off(key[, fn])        forget one or all handlers of key
//     .callback(key, data)   what the bridges run; also fires a window event "orvclientcallback"
//                            whose detail is {key, data}
//     .onNotice(name, fn)    fn(data, name) for page-wide notices (commonNotice, and
//                            "updateStorageState" for the storage state); event "orvclientnotice"
//     .ready(fn)             fn(channel.objects) once the bridges are connected; event "orvbridgeready"
//     .theme, .schoolId, .courseId   the view's context; "orvthemechange" fires on a theme change
(function () {
    'use strict';
    var transport = window.qt && window.qt.webChannelTransport;
    if (!transport || (window.orvClientAPI && window.orvClientAPI.__orv))
        return;

    var config = ORV_CONFIG;
    var handlers = {};
    var noticeHandlers = {};
    var readyHandlers = [];
    var queued = [];
    var objects = null;

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

    // Runs one call or signal connection made on a stand-in.
    function dispatch(c) {
        var object = objects[c.name];
        var member = object && object[c.member];
        if (c.connect) {
            if (member && typeof member.connect === 'function')
                member.connect(c.connect);
            else
                console.warn('orvClientAPI: no signal ' + c.name + '.' + c.member);
        } else if (typeof member === 'function') {
            member.apply(object, c.args);
        } else {
            console.warn('orvClientAPI: no method ' + c.name + '.' + c.member);
        }
    }

    function submit(c) {
        if (objects)
            dispatch(c);
        else
            queued.push(c);
    }

    // Stand-ins queue calls and signal connections until the channel answers; a page that kept
    // a reference to one goes on working through it afterwards.
    function standIn(name) {
        return new Proxy({}, {
            get: function (target, member) {
                if (typeof member !== 'string' || member === 'then')
                    return undefined;
                var call = function () {
                    submit({ name: name, member: member, args: Array.prototype.slice.call(arguments) });
                };
                call.connect = function (fn) { submit({ name: name, member: member, connect: fn }); };
                call.disconnect = function () {};
                return call;
            }
        });
    }
    config.objects.forEach(function (name) {
        if (!(name in window))
            window[name] = standIn(name);
    });

    new QWebChannel(transport, function (channel) {
        objects = channel.objects;
        Object.keys(objects).forEach(function (name) { window[name] = objects[name]; });
        var pending = queued;
        queued = [];
        pending.forEach(dispatch);
        var waiting = readyHandlers;
        readyHandlers = [];
        invoke(waiting, objects);
        fire('orvbridgeready', { names: Object.keys(objects) });
    });
})();
