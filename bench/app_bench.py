"""The desktop application's figures, on a virtual X display with a session bus of its own.

`python3 bench/app_bench.py ZEPH_LAUNCHER [TEXT_FIELD]` makes 1,000 desktop entries from the shared
corpus's titles and 1,000 snippets, starts the application with ZEPH_LAUNCHER_TRACE set, and reports: the start until its bus
name is taken, its resident memory once idle, the hot key to the panel painted (warm), and each
keystroke of the shared queries to the list repainted, the queries typed twice. With the tests'
text field client, it also types a paragraph into it and copies into the clipboard, and reports the
application's work on each key press (the expander's, which expands nothing) and on each copy.
"""

import json
import os
import re
import statistics
import subprocess
import sys
import tempfile
import time

launcher = os.path.abspath(sys.argv[1])
text_field = os.path.abspath(sys.argv[2]) if len(sys.argv) > 2 else None
shared = os.path.join(os.path.dirname(__file__), "..", "..", "shared", "bench")

if "ZEPH_BENCH_INSIDE" not in os.environ:
    os.environ["ZEPH_BENCH_INSIDE"] = "1"
    sys.exit(subprocess.call(["xvfb-run", "-a", "-s", "-screen 0 1920x1080x24",
                              "dbus-run-session", "--", sys.executable] + sys.argv))

root = tempfile.mkdtemp(prefix="zeph-app-bench-")
applications = os.path.join(root, "home/.local/share/applications")
os.makedirs(applications)
with open(os.path.join(shared, "corpus/titles-10k.txt")) as titles:
    names = [line.strip() for line in titles if line.strip()][:1000]
for index, name in enumerate(names):
    with open(os.path.join(applications, f"app{index}.desktop"), "w") as entry:
        entry.write(f"[Desktop Entry]\nType=Application\nName={name}\nExec=true\n")
os.makedirs(os.path.join(root, "data"))
with open(os.path.join(root, "data/snippets.json"), "w") as snippets:
    json.dump([{"excludedBundleIDs": [], "id": "bench", "isEnabled": True, "name": "Bench",
                "prefix": ";", "snippets": [
                    {"autoExpands": True, "content": name, "createdByAgent": False, "id": str(index),
                     "isEnabled": True, "keyword": f"s{index}", "name": name, "pendingReview": False}
                    for index, name in enumerate(names)]}], snippets)
# A returning user: no welcome window takes the focus.
with open(os.path.join(root, "data/settings.json"), "w") as settings:
    json.dump({"hasCompletedOnboarding": True}, settings)
with open(os.path.join(shared, "queries.txt")) as queries:
    queries = [line.strip() for line in queries if line.strip()]

environment = dict(os.environ, HOME=os.path.join(root, "home"), ZEPH_DATA_DIR=os.path.join(root, "data"),
                   XDG_DATA_HOME=os.path.join(root, "home/.local/share"), ZEPH_LAUNCHER_TRACE="1")
log_path = os.path.join(root, "trace.log")


def answers():
    # The application answers on its bus name once it is made and its event loop runs.
    reply = subprocess.run(["dbus-send", "--session", "--print-reply", "--reply-timeout=5000",
                            "--dest=org.zeph.Launcher", "/org/zeph/Launcher",
                            "org.zeph.Launcher.GetDocument", "string:/nowhere", "string:none"],
                           capture_output=True, text=True)
    return reply.returncode == 0


def key(*names):
    subprocess.run(["xdotool", "key", *names], env=environment)


began = time.monotonic()
application = subprocess.Popen([launcher], env=environment, stderr=open(log_path, "w"))
while not answers():
    time.sleep(0.002)
start_ms = (time.monotonic() - began) * 1000
time.sleep(3)
with open(f"/proc/{application.pid}/status") as status:
    rss_kib = int(re.search(r"VmRSS:\s+(\d+)", status.read()).group(1))

for _ in range(12):
    key("alt+space")  # Shows.
    time.sleep(0.25)
    key("alt+space")  # Hides.
    time.sleep(0.15)
key("alt+space")
time.sleep(0.3)
# Twice: the first pass draws every glyph and icon for the first time.
for _ in range(2):
    for query in queries:
        for character in query:
            subprocess.run(["xdotool", "type", "--delay", "0", character], env=environment)
            time.sleep(0.12)
        key("ctrl+a", "BackSpace")
        time.sleep(0.15)
key("Escape")
if text_field:
    field = subprocess.Popen([text_field, os.path.join(root, "field.txt"),
                              os.path.join(root, "clipboard.txt")], env=environment)
    time.sleep(1.0)
    window = subprocess.run(["xdotool", "search", "--onlyvisible", "--name", "^Zeph Test Field$"],
                            env=environment, capture_output=True, text=True).stdout.split()
    subprocess.run(["xdotool", "windowfocus", "--sync", window[0]], env=environment)
    # The field named the active window, as a window manager would name it: the expander asks who
    # has the focus on every key press that types.
    subprocess.run(["xprop", "-root", "-f", "_NET_ACTIVE_WINDOW", "32x", "-set", "_NET_ACTIVE_WINDOW",
                    window[0]], env=environment)
    time.sleep(1.0)  # The copy the field makes at start is behind us.
    subprocess.run(["xdotool", "type", "--delay", "20",
                    "The quick brown fox jumps over the lazy dog; then it rests a while. " * 3],
                   env=environment)
    # Enough copies for a 99th percentile that is not simply the slowest.
    for _ in range(200):
        key("F3")
        time.sleep(0.1)
    # Triggers that expand, each while the field owns the clipboard, as another program does when
    # the user types: the clipboard must be read before the paste replaces it. Keys typed while an
    # expansion finishes are ignored, so each waits.
    for _ in range(12):
        key("F3")
        time.sleep(0.3)
        subprocess.run(["xdotool", "type", "--delay", "40", " ;s5"], env=environment)
        time.sleep(1.2)
    field.terminate()
    field.wait()
application.terminate()
application.wait()

with open(log_path) as log:
    lines = log.read().splitlines()


def figures(label):
    values = sorted(float(m.group(1)) for line in lines
                    if (m := re.search(rf"{label} to paint ([0-9.]+) ms", line)))
    return values


def took(label, on_cpu=False):
    pattern = rf"{label} took ([0-9.]+) µs" + (r" \(([0-9.]+) µs on the CPU\)" if on_cpu else "")
    return sorted(float(m.group(2 if on_cpu else 1)) for line in lines
                  if (m := re.search(pattern, line)))


shows = figures("hot key")[2:]  # The first shows load fonts and icons: warm ones only.
keystrokes = [float(m.group(1)) for line in lines
              if (m := re.search(r"keystroke to paint ([0-9.]+) ms", line))]
cold, warm = sorted(keystrokes[:len(keystrokes) // 2]), sorted(keystrokes[len(keystrokes) // 2:])
p99 = lambda values: values[min(len(values) - 1, int(len(values) * 0.99))]
print(f"start to the first answer on the bus: {start_ms:.0f} ms")
print(f"idle resident memory with {len(names)} applications: {rss_kib / 1024:.1f} MiB")
print(f"hot key to panel painted, warm ({len(shows)}): median {statistics.median(shows):.2f} ms, "
      f"max {max(shows):.2f} ms")
for name, values in (("first pass", cold), ("second pass", warm)):
    print(f"keystroke to list repainted, {name} ({len(values)}): median {statistics.median(values):.2f} ms, "
          f"p99 {p99(values):.2f} ms, max {max(values):.2f} ms")
if text_field:
    for label, name in (("a key press", "key press in another program, nothing expands"),
                        ("a clipboard change", "copy recorded"),
                        ("reading the whole clipboard",
                         "the clipboard read whole (ahead of an expansion, once for each copy)"),
                        ("an expansion, from its last key to the paste chord,",
                         "expansion, last trigger key to the paste chord posted")):
        values, on_cpu = took(label), took(label, on_cpu=True)
        if values:
            print(f"{name} ({len(values)}): median {statistics.median(values):.1f} µs, "
                  f"p99 {p99(values):.1f} µs, max {max(values):.1f} µs")
        if on_cpu:
            print(f"    of it on the main thread's CPU: median {statistics.median(on_cpu):.1f} µs, "
                  f"p99 {p99(on_cpu):.1f} µs, max {max(on_cpu):.1f} µs")
