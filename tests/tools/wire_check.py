#!/usr/bin/env python3
# wire_check.py BUILD-DIRECTORY
# Three calls through vrn-lossy --capture, held against what tshark, which knows nothing of this engine, reads in the
# capture. Two send RED, over IPv4 and IPv6. The third sends plain T.140, and its right party, on a terminal, turns to
# receiving only once it has sent a sender report without a block: its receiver reports then count none.
# Each step of a call waits for what the relay has captured, however long that takes on a busy machine.
import os
import shlex
import subprocess
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

RED, T140, TICK_MS, LATEST_TICK_MS = 100, 98, 290, 5000  # the timer of a busy machine is late
ORDER_SECONDS = 5  # what is sent this close together may be captured, or heard, in either order
EXPERT_ERROR = 0x800000  # tshark also has remarks, on what is late or unusual and right
UDP_HEADER, SHORT_REPORT = 8, ("200", "0", 28)  # a sender report: type, blocks, bytes
UNCOUNTED_BLOCK = ("201", "0", 32)  # a receiver report that carries the block it does not count
BLOCK_REPORT = ("200", "1", 52)  # a sender report with its block
LEFT_TEXTS, RIGHT_TEXTS = ["Grüße, 😀\r\n", "ok\b!"], ["Ναι", "bye"]
FIELDS = """_ws.malformed _ws.expert.severity _ws.expert.message frame.time_epoch udp.srcport udp.length
    rtp.p_type rtp.marker rtp.seq rtp.timestamp rtp.ssrc rtp.payload rtp.timestamp-offset rtp.block-length
    rtcp.pt rtcp.rc rtcp.senderssrc rtcp.sender.packetcount rtcp.sender.octetcount
    rtcp.ssrc.identifier rtcp.ssrc.fraction rtcp.ssrc.cum_nr rtcp.ssrc.ext_high""".split()
RTCP_TYPES = range(192, 224)  # as tshark takes them
REPORT_START = ["frame.time_epoch", "udp.srcport", "udp.length", "rtcp.pt", "rtcp.rc", "rtcp.senderssrc"]


def start(*command, **streams):
    return subprocess.Popen(["timeout", "--foreground", "200", *command], **streams)


# A call through the relay, whose files are called `path`: the left party on pipes, the right one, too, or on a terminal.
class Call:
    def __init__(self, host, port, level, path):
        self.port, self.path, self.drain, self.on_terminal = port, path, max(level, 1), not level
        self.link = start(PROGRAMS + "/vrn-lossy", "--capture", path, "--report", path + ".counts",
                          "--pid-file", path + ".pid",
                          "--left-here", f"{host}:{port + 4}", "--left-party", f"{host}:{port}",
                          "--right-here", f"{host}:{port + 6}", "--right-party", f"{host}:{port + 2}")
        self.programs = [self.link]
        self.wait("the relay", lambda: os.path.exists(path + ".pid"))
        party = [[PROGRAMS + "/vrn-call", f"--local={host}:{port + side}", f"--remote={host}:{port + 4 + side}",
                  f"--redundancy={level}"] for side in (0, 2)]
        self.left = start(*party[0], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL)
        time.sleep(1.1)  # parties that start in the same second choose the same SSRC
        right = ["script", "-qec", shlex.join(party[1]), "/dev/null"] if self.on_terminal else party[1]
        self.right = start(*right, env=dict(os.environ, TERM="xterm"), stdin=subprocess.PIPE, stdout=subprocess.DEVNULL)
        self.programs += [self.left, self.right]

    def wait(self, what, condition):
        deadline = time.monotonic() + 80
        while not condition():
            if time.monotonic() > deadline or any(program.poll() is not None for program in self.programs):
                for program in self.programs:
                    program.terminate()
                raise AssertionError(f"waited in vain for {what}")
            time.sleep(0.05)

    # How many datagrams that party (0 left, 2 right) has sent to the relay: RTP, or RTCP, perhaps of one kind only.
    def captured(self, side, rtcp=False, kind=None):
        ports = (self.port + side + rtcp, self.port + 4 + side + rtcp)
        words = (*ports, UDP_HEADER + kind[2]) if kind else ports
        return Path(self.path).read_bytes().count(b"".join(word.to_bytes(2, "big") for word in words))

    def wait_for_report(self, side, kind=None):
        before = self.captured(side, True, kind)
        self.wait(f"a report {kind} of party {side}", lambda: self.captured(side, True, kind) > before)

    # Types a text and waits until it is repeated as often as it shall be.
    def type(self, side, text):
        wanted = self.captured(side) + 1 + self.drain
        os.write((self.right if side else self.left).stdin.fileno(), text.encode())
        self.wait(f"packets of party {side} with {text!r}", lambda: self.captured(side) >= wanted)

    def end(self):
        self.left.stdin.close()
        self.right.communicate(b"\x03" if self.on_terminal else None)  # ^C
        self.link.terminate()
        assert (self.left.wait(), self.right.returncode, self.link.wait()) == (0, 0, 0)


def make_call(host, port, level, path):
    call = Call(host, port, level, path)
    call.wait_for_report(2, SHORT_REPORT)
    if not level:
        os.write(call.right.stdin.fileno(), b"\x14" b"2")  # ^T: the direction; 2: receiving only
        call.wait_for_report(2, UNCOUNTED_BLOCK)
    for text, answer in zip(LEFT_TEXTS, RIGHT_TEXTS):
        call.type(0, text)
        if level:
            call.type(2, answer)
        time.sleep(LATEST_TICK_MS / 1000)  # both are idle again
    call.wait_for_report(0)
    call.wait_for_report(2)
    call.end()


def dissect(port, path):
    ways = [f"rtp.pt=={RED},rtp_rfc2198", f"rtp.pt=={T140},data"]
    ways += [f"udp.port=={port + side + kind},{('rtp', 'rtcp')[kind]}" for side in (0, 2) for kind in (0, 1)]
    options = ["-d" + way for way in ways] + ["-e" + field for field in FIELDS] + ["-Tfields", "-Eseparator=|"]
    tshark = ["tshark", "-r", path, "-oip.check_checksum:TRUE", "-oudp.check_checksum:TRUE"]
    rows = subprocess.check_output(tshark + options, encoding="utf-8")
    packets = [dict(zip(FIELDS, row.split("|"))) for row in rows.splitlines()]
    left_ssrc = next(packet["rtp.ssrc"] for packet in packets if packet["rtp.ssrc"])
    if int(left_ssrc, 0) >> 16 & 0xFF in RTCP_TYPES:
        return [without_uncounted_block(packet) for packet in packets]
    return packets


# The block that a receiver report does not count is no packet of its own, but tshark takes it for one when the second
# byte of its SSRC, here the left party's, is an RTCP packet type. What it reads there is left out.
def without_uncounted_block(packet):
    report = {field: value.split(",")[0] for field, value in packet.items()}
    if (report["rtcp.pt"], report["rtcp.rc"], int(report["udp.length"]) - UDP_HEADER) != UNCOUNTED_BLOCK:
        return packet
    return {field: value if field in REPORT_START else "" for field, value in report.items()}


def numbers(packet, field):
    return [int(word, 0) for word in packet[field].split(",") if word]


# One party's text: what was typed, how it was cut into packets, and what these repeat.
def check_rtp(packets, level, texts):
    drain = max(level, 1)  # so many packets without new text follow the last text
    primaries, times = [b""] * drain, [0] * drain
    for number, packet in enumerate(packets, 1):
        payloads = [bytes.fromhex(word.replace("<MISSING>", "")) for word in packet["rtp.payload"].split(",")]
        *repeated, primary = payloads[1:] if level else payloads
        now, = numbers(packet, "rtp.timestamp")
        idle = not any(primaries[-drain:])
        assert numbers(packet, "rtp.seq") == [number] and packet["rtp.ssrc"] == packets[0]["rtp.ssrc"], packet
        assert numbers(packet, "rtp.p_type") == [RED] * (level > 0) + [T140] * (level + 1), packet
        assert numbers(packet, "rtp.marker") == [idle] and (primary or not idle), packet
        assert idle or TICK_MS <= now - times[-1] <= LATEST_TICK_MS, (packet, times)
        assert repeated == primaries[len(primaries) - level:], (packet, primaries)
        assert numbers(packet, "rtp.block-length") == [len(block) for block in repeated], packet
        assert numbers(packet, "rtp.timestamp-offset") == [now - then for then in times[len(times) - level:]], packet
        primaries.append(primary)
        times.append(now)
    assert not any(primaries[-drain:]) and b"".join(primaries).decode() == "".join(texts), primaries


# One party's reports of the packets it sent (`own`) and received (`far`).
def check_rtcp(reports, own, far, far_reports):
    for field, packets in (("rtcp.sender.packetcount", own), ("rtcp.ssrc.ext_high", far)):
        counts = [count for report in reports for count in numbers(report, field)]
        assert counts[-1:] in ([], [len(packets)]), (field, counts)  # whose last one comes long after them
    for report in reports:
        def until(packets, slack, end=float(report["frame.time_epoch"])):
            return sum(float(packet["frame.time_epoch"]) < end + slack for packet in packets)

        assert all(report["rtcp.senderssrc"] == packet["rtp.ssrc"] for packet in own), report
        for field, packets in (("rtcp.sender.packetcount", own), ("rtcp.ssrc.ext_high", far)):
            for count in numbers(report, field):
                assert until(packets, -ORDER_SECONDS) <= count <= until(packets, ORDER_SECONDS), report
        for count in numbers(report, "rtcp.sender.packetcount"):
            octets = sum(int(packet["udp.length"]) - UDP_HEADER for packet in own[:count])
            assert numbers(report, "rtcp.sender.octetcount") == [octets], report
        heard = [0, *(int(each["rtcp.senderssrc"], 0) for each in far_reports)]
        heard = heard[until(far_reports, -ORDER_SECONDS):until(far_reports, ORDER_SECONDS) + 1]
        block = [numbers(report, "rtcp.ssrc." + field) for field in ("identifier", "fraction", "cum_nr")]
        if report["rtcp.rc"] == "1":
            assert block[0][0] in heard and block[1:] == [[0], [0]], (report, heard)
        else:
            assert block == [[], [], []], report


def check_call(host, port, level):
    path = f"{WORK}/{port}"
    make_call(host, port, level, path)
    packets = dissect(port, path)
    marked = [packet for packet in packets if packet["_ws.malformed"] or EXPERT_ERROR in numbers(packet, "_ws.expert.severity")]
    assert not marked, marked
    rtp, reports, right_rtp, right_reports = (
        [packet for packet in packets if packet["udp.srcport"] == str(port + i)] for i in range(4))
    assert reports and f"left-right rtp-relayed {len(rtp)}\n" in Path(path + ".counts").read_text(encoding="utf-8")
    check_rtp(rtp, level, LEFT_TEXTS)
    check_rtp(right_rtp, level, RIGHT_TEXTS if level else [])
    check_rtcp(reports, rtp, right_rtp, right_reports)
    check_rtcp(right_reports, right_rtp, rtp, reports)
    kinds = {(each["rtcp.pt"], each["rtcp.rc"], int(each["udp.length"]) - UDP_HEADER) for each in right_reports}
    assert kinds == {SHORT_REPORT, BLOCK_REPORT if level else UNCOUNTED_BLOCK}, kinds
    return f"{len(packets)} packets as expected: redundancy {level}, {host}"


PROGRAMS, OWN = sys.argv[1], os.getpid()
# A loopback address of this run's own; of ::1 there is but one, so there it is ports.
CALLS = [(f"127.{64 + (OWN >> 16 & 63)}.{OWN >> 8 & 255}.{OWN & 255}", 5004, 2),
         ("[::1]", 8000 + OWN % 1500 * 8, 1), ("[::1]", 20000 + OWN % 1500 * 8, 0)]
with tempfile.TemporaryDirectory() as WORK, ThreadPoolExecutor() as pool:
    print(*pool.map(check_call, *zip(*CALLS)), sep="\n")
