#!/usr/bin/gjs
imports.gi.versions.AppList = "1";
const { AppList, GLib } = imports.gi;

const store = new AppList.Store();
store.connect("notify::selected-item", () => {
    const item = store.selected_item;
    print("selected: " + (item ? item.name : "nothing"));
});
store.set_items([AppList.Entry.new("clock.01", "Clock"), AppList.Entry.new("music.02", "Music Player")]);
store.select("clock.01");
GLib.MainLoop.new(null, false).run();
