"""The real application on a virtual X display with a session bus of its own.

Run as `desktop_test.py ZEPH_LAUNCHER ZEPH TEXT_FIELD MOCK_PORTAL MOCK_ACCESSIBILITY [SCREENSHOT]`;
it starts Xvfb and the bus itself when
there is no display. A screenshot of the panel with results goes to SCREENSHOT when given.
"""

import glob
import json
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time

launcher, zeph, text_field, mock_portal, mock_accessibility = sys.argv[1:6]
screenshot = sys.argv[6] if len(sys.argv) > 6 else None

if "ZEPH_TEST_INSIDE" not in os.environ:
    os.environ["ZEPH_TEST_INSIDE"] = "1"
    command = ["xvfb-run", "-a", "-s", "-screen 0 1280x800x24", "dbus-run-session", "--",
               sys.executable] + sys.argv
    sys.exit(subprocess.call(command))

root = tempfile.mkdtemp(prefix="zeph-desktop-")
home = os.path.join(root, "home")
data = os.path.join(root, "data")
marker = os.path.join(root, "launched")
applications = os.path.join(home, ".local/share/applications")
os.makedirs(applications)
os.makedirs(data)


def snippet(keyword, content):
    return {"autoExpands": True, "content": content, "createdByAgent": False, "id": keyword,
            "isEnabled": True, "keyword": keyword, "name": keyword, "pendingReview": False}


with open(os.path.join(data, "snippets.json"), "w", encoding="utf-8") as snippets:
    json.dump([{"excludedBundleIDs": [], "id": "test", "isEnabled": True, "name": "Test",
                "prefix": ";", "snippets": [
                    snippet("shrug", "\u00af\\_(\u30c4)_/\u00af"),
                    snippet("tag", "<b>{cursor}</b>"),
                    snippet("gr\u00fc\u00df", "Gr\u00fc\u00dfe aus K\u00f6ln"),
                    snippet("caf\u00e9", "Kaffee")]}], snippets, ensure_ascii=False)
# The launched program writes down the startup id it was given.
marker_maker = os.path.join(root, "marker-maker")
with open(marker_maker, "w") as script:
    script.write(f'#!/bin/sh\nprintf %s "$DESKTOP_STARTUP_ID" > {marker}.part && mv {marker}.part {marker}\n')
os.chmod(marker_maker, 0o755)
with open(os.path.join(applications, "marker-maker.desktop"), "w") as entry:
    entry.write("[Desktop Entry]\nType=Application\nName=Marker Maker\nStartupNotify=true\n"
                f"Exec={marker_maker}\n")
# What an agent made, waiting for the user's review.
greeting = [{"id": "in", "kind": {"keyword": {"keyword": "greet", "title": "", "subtitle": "",
                                              "argument": "optional"}}},
            {"id": "show", "kind": {"largeType": {"text": "Hello {query}"}}}]
with open(os.path.join(data, "workflows.json"), "w", encoding="utf-8") as workflows:
    json.dump([{"id": "agent-made", "name": "Agent's Greeting", "isEnabled": False,
                "createdByAgent": True, "pendingReview": True, "nodes": greeting,
                "connections": [{"id": "c", "from": "in", "fromPort": "out", "to": "show",
                                 "modifier": "none"}]}], workflows)
environment = dict(os.environ, HOME=home, ZEPH_DATA_DIR=data, XDG_DATA_HOME=os.path.join(home, ".local/share"))
failures = []


def check(condition, what):
    print(("ok   " if condition else "FAIL ") + what, flush=True)
    if not condition:
        failures.append(what)


def run(*arguments, **options):
    return subprocess.run(list(arguments), env=environment, capture_output=True, text=True,
                          timeout=20, **options)


def read(path):
    try:
        with open(path, encoding="utf-8") as text:
            return text.read()
    except FileNotFoundError:
        return ""


def wait_for(predicate, seconds=10.0):
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        if predicate():
            return True
        time.sleep(0.05)
    return predicate()


def bus_has(name):
    reply = run("dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus",
                "/org/freedesktop/DBus", "org.freedesktop.DBus.NameHasOwner", f"string:{name}")
    return "boolean true" in reply.stdout


def answers():
    # Once made, with its event loop running, the application answers on its bus name.
    return run("dbus-send", "--session", "--print-reply", "--reply-timeout=5000",
               "--dest=org.zeph.Launcher", "/org/zeph/Launcher", "org.zeph.Launcher.GetDocument",
               "string:/nowhere", "string:none").returncode == 0


def windows_named(title):
    return run("xdotool", "search", "--onlyvisible", "--name", f"^{title}$").stdout.split()


# The first window with this title once it shows, else None.
def window_shown(title):
    found = []
    wait_for(lambda: found.extend(windows_named(title)) or found)
    return found[0] if found else None


# Keys go to the window that has the focus, which a busy machine gives late.
def focus(window):
    if window:
        run("xdotool", "windowfocus", "--sync", window)
        wait_for(lambda: run("xdotool", "getwindowfocus").stdout.strip() == window)


def panel_visible():
    return bool(windows_named("Zeph Launcher"))


def panel_geometry():
    window = windows_named("Zeph Launcher")
    if not window:
        return None
    lines = run("xdotool", "getwindowgeometry", "--shell", window[0]).stdout.split()
    values = dict(line.split("=") for line in lines)
    return tuple(int(values[key]) for key in ("X", "Y", "WIDTH", "HEIGHT"))


def panel_has_focus():
    window = windows_named("Zeph Launcher")
    return bool(window) and run("xdotool", "getwindowfocus").stdout.strip() in window


def key(*names):
    run("xdotool", "key", "--delay", "30", *names)


def start(log_name, extra=None):
    log = open(os.path.join(root, log_name), "w")
    return subprocess.Popen([launcher], env=dict(environment, **(extra or {})), stdout=log,
                            stderr=subprocess.STDOUT)


def log_text(log_name):
    with open(os.path.join(root, log_name)) as log:
        return log.read()


def stop(*processes):
    for process in processes:
        process.terminate()
        process.wait(timeout=10)


# The lines a process writes, stripped, gathered as they come.
def lines_of(process):
    lines = []
    threading.Thread(target=lambda: lines.extend(line.strip() for line in process.stdout),
                     daemon=True).start()
    return lines


# The accessibility bus, which tells when a password field has the focus: ours, before any
# application asks the session bus for the desktop's own.
accessibility = subprocess.Popen([mock_accessibility], env=environment, stdin=subprocess.PIPE,
                                 stdout=subprocess.PIPE, text=True)
accessibility_lines = lines_of(accessibility)
check(wait_for(lambda: "ready" in accessibility_lines), "an accessibility bus runs")

# Another client holds Alt+Space first: a launcher on a bus of its own, so that both run.
holder = subprocess.Popen(["dbus-run-session", "--", launcher],
                          env=dict(environment, ZEPH_DATA_DIR=os.path.join(root, "holder")),
                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True)
time.sleep(4)  # Its grab is not observable from here; a sanitizer build starts slowly.
application = start("refused.log")
check(wait_for(lambda: bus_has("org.zeph.Launcher"), 30), "the application takes its bus name")
check(wait_for(lambda: "hotkey Alt+Space is unavailable" in log_text("refused.log")),
      "a hot key that another client holds is reported")
stop(application)
# The bus and the launcher under it, which would otherwise go on expanding snippets too.
os.killpg(holder.pid, signal.SIGTERM)
holder.wait(timeout=10)


def holder_gone():
    # The launcher under the bus may outlive the bus a moment, still holding Alt+Space. Zombies,
    # which a container's first process may never reap, hold nothing.
    for stat in glob.glob("/proc/[0-9]*/stat"):
        try:
            with open(stat) as status:
                fields = status.read().rsplit(")", 1)[1].split()
        except OSError:
            continue
        if int(fields[2]) == holder.pid and fields[0] != "Z":
            return False
    return True


check(wait_for(holder_gone, 30), "the client that held the hot key is gone")
wait_for(lambda: not bus_has("org.zeph.Launcher"))

began = time.monotonic()
application = start("application.log")
check(wait_for(answers, 30), "the application starts")
print(f"start to the first answer: {(time.monotonic() - began) * 1000:.0f} ms", flush=True)

# The first start welcomes the user; closing the window marks the first run done.
welcome = window_shown("Welcome to Zeph Launcher")
check(welcome is not None, "the first start shows the welcome window")
if welcome:
    focus(welcome)
    key("Return")
    check(wait_for(lambda: not windows_named("Welcome to Zeph Launcher")),
          "Get Started closes it")

key("alt+space")
check(wait_for(panel_visible), "the hot key shows the panel")
run("xdotool", "type", "--delay", "40", "marker")
time.sleep(0.4)
shot = os.path.join(root, "panel.png")
run("import", "-window", "root", shot)
geometry = panel_geometry()
colours = 0
if geometry:
    x, y, width, height = geometry
    colours = int(run("convert", shot, "-crop", f"{width}x{height}+{x}+{y}", "-format", "%k",
                      "info:").stdout or 0)
check(colours > 8, f"the panel with results is drawn ({colours} colours)")
if screenshot and geometry:
    run("convert", shot, "-crop", f"{geometry[2]}x{geometry[3]}+{geometry[0]}+{geometry[1]}",
        screenshot)
# The window manager's side of startup notification: messages on the root window.
root_events = subprocess.Popen(["xev", "-root", "-event", "property"], env=environment,
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
time.sleep(0.3)
key("Return")
check(wait_for(lambda: os.path.exists(marker)), "Return launches the desktop entry")
startup_id = read(marker)
check(re.fullmatch(r"zeph-launcher-\d+-.+-\d+_TIME[1-9]\d*", startup_id) is not None,
      f"the program gets a startup id with the time of the key press ({startup_id!r})")
time.sleep(0.3)
root_events.terminate()
check("_NET_STARTUP_INFO_BEGIN" in root_events.communicate()[0],
      "the launch is announced on the root window")
check(wait_for(lambda: not panel_visible()), "launching hides the panel")

key("alt+space")
wait_for(panel_has_focus)
key("Escape")
check(wait_for(lambda: not panel_visible()), "Escape hides the panel")

second = run(launcher)
check(second.returncode == 0, "a second start exits at once")
check(wait_for(panel_visible), "a second start shows the panel of the first")
# The hot key and --toggle hide only a panel that has the keyboard; a busy machine gives it late.
wait_for(panel_has_focus)
check(run(launcher, "--toggle").returncode == 0 and wait_for(lambda: not panel_visible()),
      "--toggle hides the panel")
check(run(launcher, "--toggle").returncode == 0 and wait_for(panel_visible),
      "--toggle shows it again")
wait_for(panel_has_focus)
top_before = (panel_geometry() or (0, 0))[1]
root_window = run("xdotool", "search", "--maxdepth", "0", "").stdout.split()[0]
run("xdotool", "windowfocus", root_window)
check(wait_for(lambda: not panel_visible()), "the panel goes when the keyboard goes elsewhere")


# The settings window: from the command line, and Ctrl+, in the panel.
def settings_visible():
    return bool(windows_named("Zeph Launcher Settings"))


def focus_settings():
    focus(window_shown("Zeph Launcher Settings"))


check(run(launcher, "--settings").returncode == 0 and wait_for(settings_visible),
      "--settings opens the settings window")
focus_settings()
# By keyboard alone: from the list of panes into the general pane, past the shortcut, to the
# learning switch.
key("Tab")
key("Tab")
key("space")
key("Escape")
check(wait_for(lambda: not settings_visible()), "Escape closes the settings window")
check(wait_for(lambda: '"learningEnabled": false' in read(os.path.join(data, "settings.json"))),
      "a switch changed in the settings is saved")
# The review: the agents' pane, its list, the changes, then "Approve and Enable".
run(launcher, "--settings")
focus_settings()
for _ in range(5):
    key("ctrl+Next")
for _ in range(3):
    key("Tab")
key("space")
check(wait_for(lambda: "Agent's Greeting" in run(zeph, "workflows", "list").stdout
               and "pending review" not in run(zeph, "workflows", "list").stdout),
      "approving an agent's workflow in the settings enables it")
check(os.path.exists(os.path.join(data, "review.json")), "and remembers what was approved")
key("Escape")
wait_for(lambda: not settings_visible())
key("alt+space")
wait_for(panel_has_focus)
key("ctrl+comma")
check(wait_for(settings_visible) and wait_for(lambda: not panel_visible()),
      "Ctrl+, in the panel opens the settings in its place")
focus_settings()
key("ctrl+w")
check(wait_for(lambda: not settings_visible()), "Ctrl+W closes the settings window")

# Typed expansion in another program: the trigger erased, the snippet pasted, the clipboard back.
field_file = os.path.join(root, "field.txt")
clipboard_file = os.path.join(root, "clipboard.txt")
field = subprocess.Popen([text_field, field_file, clipboard_file], env=environment)


window = window_shown("Zeph Test Field")
check(window is not None, "the text field opens")
if window:
    focus(window)
    run("xdotool", "type", "--delay", "60", "hi ;shrug")
    shrug = "hi \u00af\\_(\u30c4)_/\u00af"
    check(wait_for(lambda: read(field_file).split("\n")[0] == shrug),
          f"typing a trigger in another program expands it ({read(field_file).splitlines()[:1]})")
    check(wait_for(lambda: read(clipboard_file) == "kept before"),
          f"the clipboard is put back ({read(clipboard_file)!r})")

    def field_after(typing, *keys):
        # Keys typed while an expansion finishes (until the clipboard is back) are not looked at.
        time.sleep(1.0)
        key("ctrl+a", "BackSpace")
        run("xdotool", "type", "--delay", "60", typing)
        if keys:
            key(*keys)
        time.sleep(0.2)

    check("registered object:state-changed:focused" in accessibility_lines,
          "the application asks the accessibility bus for focus changes")
    # A password field has the focus: nothing expands there.
    accessibility.stdin.write("focus\n")
    accessibility.stdin.flush()
    field_after(";shrug")
    time.sleep(1.0)
    check(read(field_file).split("\n")[0] == ";shrug",
          f"nothing expands in a password field ({read(field_file).splitlines()[:1]})")
    accessibility.stdin.write("blur\n")
    accessibility.stdin.flush()
    field_after(";tag")
    check(wait_for(lambda: read(field_file).split("\n") == ["<b></b>", "3"]),
          f"a snippet's caret mark leaves the caret there ({read(field_file).splitlines()})")
    # A German layout: ü and ß are keys of their own, ";" is Shift+comma, and é comes from the
    # dead acute key and e.
    run("setxkbmap", "de")
    time.sleep(0.5)
    field_after(";gr\u00fc\u00df")
    check(wait_for(lambda: read(field_file).split("\n")[0] == "Gr\u00fc\u00dfe aus K\u00f6ln"),
          f"a German layout types its trigger ({read(field_file).splitlines()[:1]})")
    field_after(";caf", "dead_acute", "e")
    check(wait_for(lambda: read(field_file).split("\n")[0] == "Kaffee"),
          f"a dead key makes its character ({read(field_file).splitlines()[:1]})")
    run("setxkbmap", "us")
    time.sleep(0.5)
    # Copies: a password manager's is left out of the history, a plain one is kept. (Copies just
    # after a paste of the application's own are not looked at: the paste's own would be recorded.)
    time.sleep(1.0)
    key("F2")
    time.sleep(0.5)
    key("F3")
    check(wait_for(lambda: "a plain copy" in run(zeph, "clipboard", "list").stdout),
          "a plain copy is recorded")
    history = run(zeph, "clipboard", "list").stdout
    check("hunter2" not in history, "a copy marked secret is not")
    key("F5")
    check(wait_for(lambda: "a long copy a long copy" in run(zeph, "clipboard", "list").stdout),
          "a long copy is recorded")
    key("F4")
    check(wait_for(lambda: "\timage\t" in run(zeph, "clipboard", "list").stdout),
          "a copied image is recorded")
    images = os.path.join(data, "Clipboard")
    pngs = os.listdir(images) if os.path.isdir(images) else []
    check(len(pngs) == 1 and open(os.path.join(images, pngs[0]), "rb").read(8) == b"\x89PNG\r\n\x1a\n",
          f"as a PNG file in the data folder ({pngs})")
    # The field's program excluded: a window manager would name it the active window.
    run("xprop", "-root", "-f", "_NET_ACTIVE_WINDOW", "32x", "-set", "_NET_ACTIVE_WINDOW",
        hex(int(window)))
    excluded = run(zeph, "config", "set", "snippets.excludedBundleIDs", '["zeph_test_field"]')
    check(excluded.returncode == 0, "an application is excluded while the application runs")
    field_after(";shrug")
    time.sleep(1.5)
    check(read(field_file).split("\n")[0] == ";shrug",
          f"nothing expands in an excluded application ({read(field_file).splitlines()[:1]})")
stop(field)

changed = run(zeph, "config", "set", "verticalPosition", "0.3")
check(changed.returncode == 0, "zeph config set succeeds while the application runs")
run(launcher, "--toggle")
wait_for(panel_visible)
top_after = (panel_geometry() or (0, 0))[1]
check(top_after >= top_before + 40, f"the application applies it (top {top_before} -> {top_after})")
key("Escape")

application.terminate()
check(application.wait(timeout=10) == 0, "SIGTERM ends the application cleanly")
with open(os.path.join(data, "settings.json")) as settings:
    saved = settings.read()
    check('"verticalPosition": 0.3' in saved, "its last save keeps the change")
    check('"hasCompletedOnboarding": true' in saved, "and that the first run is done")
stopped = run(zeph, "config", "set", "verticalPosition", "0.25")
check(stopped.returncode == 0, "without the application the command line writes the file")
with open(os.path.join(data, "settings.json")) as settings:
    check('"verticalPosition": 0.25' in settings.read(), "and the file holds it")

# A Wayland session: the hot key goes through the desktop portal's global shortcuts.
portal_log = open(os.path.join(root, "portal.log"), "w")
portal = subprocess.Popen([mock_portal], env=environment, stdout=portal_log, stderr=subprocess.STDOUT)
check(wait_for(lambda: bus_has("org.freedesktop.portal.Desktop")), "a portal runs")
wayland = start("wayland.log", {"WAYLAND_DISPLAY": "wayland-test", "QT_QPA_PLATFORM": "offscreen",
                                "ZEPH_LAUNCHER_TRACE": "1",
                                "ZEPH_DATA_DIR": os.path.join(root, "wayland")})
check(wait_for(lambda: "bound zeph-" in log_text("portal.log"), 30),
      f"the hot key is bound through the portal ({log_text('portal.log').strip()})")
bound = log_text("portal.log").split()
check("ALT+space" in bound, "with Alt+Space as its preferred trigger")
if "bound" in bound:
    shortcut = bound[bound.index("bound") + 1]
    time.sleep(0.5)  # The portal's answer to the binding reaches the application first.
    run("dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.portal.Desktop",
        "/org/freedesktop/portal/desktop", "org.freedesktop.portal.GlobalShortcuts.Press",
        f"string:{shortcut}")
    check(wait_for(lambda: "hot key to paint" in log_text("wayland.log")),
          "its activation shows the panel")
check("only in an X11 session" in log_text("wayland.log"),
      "typed expansion says it needs X11")
stop(wayland, portal)

# The desktop's own accessibility stack, once ours is gone: a toolkit's password field tells it
# when it has the focus, and nothing expands there. Once that program quits, which it does without
# a word about its focus, a field of a program that tells the bus nothing is expanded into again.
stop(accessibility)
run(zeph, "config", "set", "snippets.excludedBundleIDs", "[]")
application = start("accessibility.log")
check(wait_for(answers, 30), "the application starts again")
# The application asks a focused object's role; that question on the bus says that the focus
# event has reached it.
a11y_address = run("dbus-send", "--session", "--print-reply=literal", "--dest=org.a11y.Bus",
                   "/org/a11y/bus", "org.a11y.Bus.GetAddress").stdout.strip()
monitor = subprocess.Popen(["dbus-monitor", "--address", a11y_address,
                            "type='method_call',member='GetRole'"],
                           env=environment, stdout=subprocess.PIPE, text=True)
monitor_lines = lines_of(monitor)
check(wait_for(lambda: any("member=NameLost" in line for line in monitor_lines)),
      "the desktop's accessibility bus runs")


def roles_asked():
    return sum("member=GetRole" in line for line in monitor_lines)


for echo, accessible, expected, what in (
        ("password", True, ";shrug", "nothing expands in a toolkit's password field that the bus names"),
        ("normal", False, "\u00af\\_(\u30c4)_/\u00af",
         "once its program quits, a field that the bus does not know expands again")):
    if os.path.exists(field_file):
        os.remove(field_file)
    field = subprocess.Popen([text_field, field_file, clipboard_file],
                             env=dict(environment, ZEPH_TEST_FIELD_ECHO=echo,
                                      **({"QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1"} if accessible
                                         else {})))
    window = window_shown("Zeph Test Field")
    if window:
        focus(window)
        # The toolkit joins the bus on its own time, and may miss telling of the focus it had
        # first: the field takes it again until the application asks what has it.
        for attempt in range(5 if accessible else 0):
            asked = roles_asked()
            key("F6")
            if wait_for(lambda: roles_asked() > asked, 2.0):
                break
        time.sleep(0.5)  # For the answer.
        run("xdotool", "type", "--delay", "60", ";shrug")
        wait_for(lambda: read(field_file).split("\n")[0] == expected)
        time.sleep(1.5)  # Time enough for an expansion that should not come.
    check(read(field_file).split("\n")[0] == expected,
          f"{what} ({read(field_file).splitlines()[:1]})")
    stop(field)
stop(application, monitor)

if failures:
    print(log_text("wayland.log"))
    print(log_text("refused.log"))
    print(log_text("application.log"))
    print(log_text("accessibility.log"))
shutil.rmtree(root, ignore_errors=True)
sys.exit(1 if failures else 0)
