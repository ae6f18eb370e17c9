-- Wireshark's plug-in: what Wireshark adds to Lua, of which it has 5.2 or 5.4.
std = "lua52"
max_line_length = 100
read_globals = {
    "Dissector", "DissectorTable", "Listener", "MENU_TOOLS_UNSORTED", "Pref", "Proto",
    "ProtoExpert", "ProtoField", "Struct", "TextWindow", "bit", "expert", "gui_enabled",
    "register_menu",
}
