#!/usr/bin/python3
"""What assistive programs are told of the console: started for real beside a simulated pod, it is
worked and walked over the accessibility bus alone, in both languages.

Usage: xvfb-run dbus-run-session -- accessibility_walk.py CONSOLE PODSIM
"""
import collections
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib

WAIT_S = 15
CONTROLS = {"push button", "toggle button", "check box", "radio button", "combo box", "text", "entry",
            "slider", "spin button", "list item", "menu item", "scroll bar", "progress bar"}
# What need not be named. A role that is in neither set is a finding.
OTHERS = {"application", "frame", "panel", "filler", "image", "label", "alert", "list", "dialog"}
CHINESE = re.compile("[\u4e00-\u9fff]")
# Names that are the same in both languages; whatever has no letters is, too.
SAME = re.compile(r"[\W\d]*|OSD|null|PNG|JPEG|Light|中文|English|CH\d+|EE0\d|\d+ Hz|[\d.]+(x\d+|Mbit/s)|H\.26\d"
                  r"|KAVROControl|tty\w+")
PAGES = {
    "zh": ["连接与设备信息", "云台设置", "相机功能", "SBUS 通道", "手柄设置", "精确定位", "固件升级"],
    "en": ["Connection and device", "Gimbal", "Camera functions", "SBUS channels", "Joystick",
           "Positioning", "Firmware update"],
}
# What is on each page, by role; of the lists those with entries that are not the computer's matter.
ON_PAGES = [
    {"text": 11, "push button": 8, "combo box": 5, "scroll bar": 1, "filled list": 4},
    {"push button": 7, "slider": 1, "text": 2, "combo box": 3, "scroll bar": 1, "filled list": 3},
    {"check box": 9, "combo box": 3, "text": 2, "push button": 2, "scroll bar": 1, "filled list": 3},
    {"combo box": 13, "text": 1, "push button": 2, "scroll bar": 1, "filled list": 13},
    {"progress bar": 10, "combo box": 25, "check box": 5, "scroll bar": 1, "filled list": 25},
    {"push button": 11, "text": 3, "combo box": 1, "scroll bar": 1, "filled list": 1},
    {"progress bar": 2, "push button": 5, "text": 3, "combo box": 1, "scroll bar": 1, "filled list": 0},
]
# And in the whole window, with page 1 open.
ON_WINDOW = {"push button": 34, "slider": 1, "text": 2, "combo box": 3, "scroll bar": 1}
MENUS = {
    "zh": {"画中画": 4, "伪彩": 3, "变倍": 2, "一键操作": 2, "云台模式": 3},
    "en": {"Picture in picture": 4, "Thermal colours": 3, "Zoom": 2, "One-key poses": 2,
           "Gimbal mode": 3},
}
WORDS = {
    "zh": {"settings": "设置", "shut": "关闭设置面板", "idle": "状态: ", "connect": "连接 TCP 连接",
           "connected": "已连接", "connection": "TCP 连接成功",
           "photo": "拍照", "sent": "已发送: 拍照", "reboot": "云台重启", "question": "云台将重启",
           "cancel": "取消", "record": "开始本机录像", "notice": "本机录像已停止",
           "lost": "控制链路已中断: "},
    "en": {"settings": "Settings", "shut": "Close the drawer", "idle": "Status: ", "connect": "Conn TCP connection",
           "connected": "Connected", "connection": "TCP connected",
           "photo": "Take photo", "sent": "Sent: Take photo", "reboot": "Reboot",
           "question": "The gimbal", "cancel": "Cancel", "record": "Record here",
           "notice": "Recording on this computer has ended",
           "lost": "Control link lost: "},
}


class Failed(Exception):
    pass


def until(what, found):
    """The first true answer of `found`, while the bus is being served."""
    end = time.monotonic() + WAIT_S
    while True:
        while GLib.MainContext.default().iteration(False):
            pass
        try:
            answer = found()
        except GLib.Error:  # what was asked has just gone
            answer = None
        if answer:
            return answer
        if time.monotonic() > end:
            raise Failed(f"in vain: {what}")
        time.sleep(0.02)


def tree(node):
    yield node
    for i in range(node.get_child_count()):
        child = node.get_child_at_index(i)
        if child is None:
            raise Failed(f"{node.get_name()}: its child {i} is told of, but there is none")
        yield from tree(child)


def has(node, state):
    return node.get_state_set().contains(state)


def shows(node):
    return has(node, Atspi.StateType.VISIBLE)


class Console:
    def __init__(self, program, podsim, language, folder):
        self.language = language
        self.words = WORDS[language]
        self.announced = []
        self.pod = subprocess.Popen([podsim, "--exit-with-parent", "--no-video", "--port", "0", "--fault-port",
                                     "0", "--model", "99", "--log", "/dev/null"],
                                    stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        port = 0
        for line in self.pod.stdout:
            if line.startswith("control tcp "):
                port = line.strip().rsplit(":", 1)[1]
            if "ready" in line:
                break
        pathlib.Path(folder, "device_config.ini").write_text(
            f"[RTSP]\nrtspIp=\n[TCP]\ndeviceIp=127.0.0.1\ndevicePort={port}\n"
            f"[Recording]\nfolder=/proc/none\n[%General]\nlanguageIndex={int(language == 'en')}\n")
        self.program = subprocess.Popen(
            [program], cwd=folder, stderr=open(folder + "/log", "w"),
            env=os.environ | {"QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1", "QT_QPA_PLATFORM": "xcb",
                              "QT_QUICK_BACKEND": "software"})
        self.root = until("the console is on the bus", self.find_root)
        self.listener = Atspi.EventListener.new(self.take)
        self.listener.register("object:property-change:accessible-name")

    def end(self):
        for process in (self.program, self.pod):
            process.kill()
            process.wait()

    def take(self, event):
        try:
            if event.source.get_role_name() == "alert":
                self.announced.append(event.source.get_name())
        except GLib.Error:
            pass  # it has gone since

    def find_root(self):
        desktop = Atspi.get_desktop(0)
        for i in range(desktop.get_child_count()):
            child = desktop.get_child_at_index(i)
            if child and child.get_process_id() == self.program.pid and child.get_child_count() > 0:
                return child
        return None

    def all(self, roles, below=None):
        return [node for node in tree(below or self.root) if node.get_role_name() in roles and shows(node)]

    def named(self, role, name):
        return until(f"{role} “{name}”", lambda: next(
            (node for node in self.all({role}) if node.get_name() == name
             or role == "alert" and node.get_name().startswith(name)), None))

    def press(self, what):
        node = self.named("push button", what) if isinstance(what, str) else what
        actions = [Atspi.Action.get_action_name(node, i) for i in range(node.get_n_actions())]
        if "Press" not in actions or not node.do_action(actions.index("Press")):
            raise Failed(f"{node.get_name()}: cannot be pressed, only {actions}")

    def walk(self, place, below=None):
        """Looks at all that is there; the controls by their roles."""
        counts = collections.Counter()
        for node in tree(below or self.root):
            role, name = node.get_role_name(), node.get_name()
            if role not in CONTROLS | OTHERS:
                raise Failed(f"{place}: a {role} “{name}”, a role that this walk does not know")
            if (role in CONTROLS or role == "alert" and shows(node)) and not name.strip():
                raise Failed(f"{place}: a {role} without a name, “{node.get_description()}”")
            if bool(CHINESE.search(name)) == (self.language == "en") and not SAME.fullmatch(name):
                raise Failed(f"{place}: a {role} “{name}”, in the other language")
            if role in CONTROLS:
                counts[role] += 1
        return dict(counts)

    def opened(self, what, button):
        """The popup that a press on the button opens."""
        self.press(button)
        return until(f"{what} opens", lambda: next(iter(self.all({"dialog"})), None))

    def close(self, what, button):
        self.press(button)
        until(f"{what} closes", lambda: not self.all({"dialog"}))

    def lists(self, page):
        """Opens each list of the page; how many have entries."""
        filled = 0
        for box in [node for node in tree(page) if node.get_role_name() == "combo box"]:
            popup = self.opened(box.get_name(), box)
            # What serial ports there are is the computer's matter.
            if not re.search("串口|升级口|serial port", box.get_name()):
                until(f"entries of {box.get_name()}", lambda: self.all({"list item"}, popup))
                filled += 1
            self.walk(box.get_name(), popup)
            self.close(box.get_name(), box)
        return filled

    def fly(self):
        words = self.words
        self.named("alert", words["idle"])
        self.press(words["settings"])
        for number, title in enumerate(PAGES[self.language]):
            self.press(title)
            page = until(f"page “{title}”", lambda: next(
                (pane for pane in self.all({"panel"}) if pane.get_name() == title
                 and pane.get_child_count() > 0), None))
            self.named("label", title)
            if number == 0:
                self.press(words["connect"])
                self.named("label", words["connected"])
                self.named("alert", words["connection"])
            found = self.walk(title, page) | {"filled list": self.lists(page)}
            if found != ON_PAGES[number]:
                raise Failed(f"page “{title}” has {found}, not {ON_PAGES[number]}")
        self.press(PAGES[self.language][1])
        box = self.opened("question", words["reboot"])
        self.walk("question", box)
        self.named("alert", words["question"])
        self.close("question", words["cancel"])
        self.press(words["shut"])
        for button, entries in MENUS[self.language].items():
            menu = self.opened(button, button)
            if self.walk(button, menu) != {"push button": entries}:
                raise Failed(f"menu “{button}”: {self.walk(button, menu)}")
            self.close(button, self.all({"push button"}, menu)[0])
        self.announced.clear()
        self.press(words["photo"])
        until("the photo is announced", lambda: words["sent"] in self.announced)
        self.press(words["record"])
        self.named("alert", words["notice"])
        self.pod.kill()
        self.named("alert", words["lost"])
        found = self.walk("window")
        if found != ON_WINDOW:
            raise Failed(f"the window has {found}, not {ON_WINDOW}")


for language in WORDS:
    with tempfile.TemporaryDirectory() as folder:
        console = Console(*sys.argv[1:3], language, folder)
        try:
            console.fly()
        except (Failed, GLib.Error) as problem:
            log = pathlib.Path(folder, "log").read_text()[-2000:]
            sys.exit(f"{language}: {problem}\n{log}")
        finally:
            console.end()
