#!/usr/bin/python3
import gi
gi.require_version("AppList", "1")
from gi.repository import AppList, GLib

def print_selection(store, _property):
    item = store.props.selected_item
    print("selected:", item.props.name if item else "nothing", flush=True)

store = AppList.Store()
store.connect("notify::selected-item", print_selection)
store.set_items([AppList.Entry.new("clock.01", "Clock"), AppList.Entry.new("music.02", "Music Player")])
store.select("clock.01")
GLib.MainLoop().run()
