#!/usr/bin/python3
"""Loads a settings page, as a CGI program in Python."""
import json
import os
import re
import sys
from urllib.parse import parse_qs

KEYS = {
    "albumartlist": "albumart",
    "cmzalbumart": "cmzalbumart",
    "ebdvideoinfo": "ebdvideoinfo",
    "enableradio": "suppradio",
    "integrateKinovo": "integrateKinovo",
    "musicdisplayinfo": "musicinfo",
    "photo_sort_by": "photo_sort_by",
    "photo_sort_order": "photo_sort_order",
    "sendthumb": "sendthumb",
}

body = sys.stdin.read(int(os.environ.get("CONTENT_LENGTH") or 0))
form = parse_qs(body + "&" + os.environ.get("QUERY_STRING", ""))
if os.environ.get("REMOTE_USER") and form.get("action") == ["load_browsing_page"]:
    with open(os.environ["SETTINGS_FILE"], encoding="utf-8") as file:
        stored = dict(re.findall(r'^(\w+)_mediaservice="(.*)"$', file.read(), re.M))
    texts = {name: stored.get(key, "") for name, key in KEYS.items()}
    data = {name: {"yes": True, "no": False}.get(text, text) for name, text in texts.items()}
    print('Content-Type: application/json; charset="UTF-8"\r\nCache-Control: no-store\r\n\r')
    print(json.dumps({"data": data, "success": True}, separators=(",", ":")))
