"""Runs Halvane64.exe under Wine, installed as the platform installs it, with real components in its folder,
and talks to it from this system. The last arguments are the program, our component, the probe, and a module
that uses what the program exports."""

import json
import pathlib
import re
import socket
import subprocess
import sys
import time
import unittest

from gateway import HERE, PATIENCE, Client, Gateway, Probe, until, windows_path, wine

PROGRAM, COMPONENT, PROBE, GUEST = (pathlib.Path(path).resolve() for path in sys.argv[-4:])
ROOT = HERE.parent.parent
HOST_EVENTS = "{34DBB30A-5EEC-4F17-B62F-95D47EFCA465}"
TRADE_EVENTS = "{485C6CCF-70AE-4CAD-810F-9B67B9BD135E}"
REGISTRY_CLASSES = {
    "Ovaro.TradeReplaceOrderParameters.1": "{7D6CE3B5-1B0B-4F5E-9E4E-6D60C2A4B901}",
    "Ovaro.adiCombinationOrderItem.1": "{7D6CE3B5-1B0B-4F5E-9E4E-6D60C2A4B902}",
}
MEMBER_NOT_FOUND = -2147352573
EXCEPTION = -2147352567
START_LIMIT = 15  # seconds; a machine that does nothing else needs one or two


class EndToEnd(unittest.TestCase):
    def new_gateway(self, component=None, **options):
        gateway = Gateway(PROGRAM, component, **options)
        self.addCleanup(gateway.remove)
        return gateway

    def new_probe(self):
        probe = Probe()
        self.addCleanup(probe.close)
        return probe

    def start_probed(self, *told, **environment):
        """A gateway on the probe, which has been told so and says that it is connected."""
        gateway, probe = self.new_gateway(PROBE), self.new_probe()
        gateway.start("host:1", gateway.system_name, "key", PROBE_PORT=probe.port, **environment)
        probe.accept()
        for command in [("answer", 1, "I4:1"), *told, ("go",)]:
            probe.tell(*command)
        return gateway, probe

    def fire_host(self, gateway, probe, *event):
        """Sends a host event, once there is somebody to receive it."""
        gateway.logged("MyIP:")
        self.assertEqual(probe.tell("fire", "host", *event), "0")

    def client_of(self, gateway):
        client = Client(gateway)
        self.addCleanup(client.close)
        return client

    def expect_end(self, gateway, *last):
        self.assertEqual(gateway.wait(), 0)
        lines = gateway.lines()
        self.assertTrue(lines, "nothing was logged")
        for line, expected in zip(lines[-len(last) :], last):
            self.assertTrue(line.endswith(expected), lines)


class StartUpFailures(EndToEnd):
    """Each leaves one Fatal line, which is the last, and exit code 0."""

    def test_too_few_arguments(self):
        for arguments in ([], ["host:1", "A"]):
            gateway = self.new_gateway(COMPONENT)
            gateway.start(*arguments)
            self.expect_end(gateway, "[FATAL]  Authentication failed!!")

    def test_a_second_instance(self):
        first = self.new_gateway()
        first.start("paper:", first.system_name, "key")
        first.logged("[RepWorker]working...")
        second = self.new_gateway()
        second.start("paper:", first.system_name, "key")
        self.expect_end(second, "[FATAL]  CheckInstance failed!!")
        other = self.new_gateway()
        other.start("paper:", other.system_name, "key")
        self.assertEqual(self.client_of(other).ask("PONG")["Reply"], "PONG")
        self.assertEqual(self.client_of(first).ask("PONG")["Reply"], "PONG")

    def test_no_component(self):
        gateway = self.new_gateway()
        gateway.start("host:1", gateway.system_name, "key")
        self.expect_end(gateway, "[FATAL]  Create Ovaro.TradeAPI.1 failed")

    def test_a_component_without_the_host_events(self):
        gateway, _ = self.start_probed(PROBE_DEAF=HOST_EVENTS)
        self.expect_end(gateway, "[FATAL]  Create event failed")

    def test_a_component_without_the_trade_events(self):
        gateway, probe = self.start_probed(PROBE_DEAF=TRADE_EVENTS)
        self.fire_host(gateway, probe, 2, "I4:2", "I4:1", "BSTR:")
        self.expect_end(gateway, "[FATAL]  Create event failed")

    def test_a_platform_that_refuses(self):
        for told, result in [
            (("answer", 1, "I4:0"), 0),
            (("answer", 1, "I4:-3"), -3),
            (("fail", 1, EXCEPTION, 1234, "not today"), 0),
        ]:
            gateway, _ = self.start_probed(told)
            self.expect_end(gateway, f"[FATAL]  failed to connect to Ovaro, result:{result}")


class Ending(EndToEnd):
    def test_the_stop_command_comes_on_the_components_own_thread(self):
        gateway, probe = self.start_probed()
        self.fire_host(gateway, probe, 1)
        gateway.logged("[RepWorker]working...")
        self.fire_host(gateway, probe, 2, "I4:2", "I4:0", "BSTR:go home")
        self.assertEqual(gateway.wait(), 0)
        self.assertIn("OnCommandMsg:2-0-go home", gateway.messages())

    def test_a_component_that_crashes_in_the_farewell(self):
        for place in (1, 2):
            gateway, probe = self.start_probed(PROBE_CRASH=place)
            self.fire_host(gateway, probe, 2, "I4:2", "I4:0", "BSTR:")
            self.expect_end(gateway, "OnCommandMsg:2-0-")

    def test_the_stop_command_without_a_desktop(self):
        prefix = PROGRAM.parent / "prefix-without-desktop"  # stays, for the next time
        gateway, probe = self.start_probed(HALVANE_WINE=prefix, HALVANE_WINE_DESKTOP="none")
        self.fire_host(gateway, probe, 1)
        gateway.logged("[RepWorker]working...")
        self.fire_host(gateway, probe, 2, "I4:2", "I4:0", "BSTR:")
        self.assertEqual(gateway.wait(), 0)

    def test_closing_the_window(self):
        # Its name is its own, by which it is told to close.
        gateway = self.new_gateway(name="Halvane64 to be closed")
        gateway.start("paper:", gateway.system_name, "key")
        gateway.logged("[PublishWorker]working...")
        wine("taskkill", "/im", gateway.program.name)
        self.assertEqual(gateway.wait(), 0)


class Paper(EndToEnd):
    def run_demo(self, gateway):
        demo = [sys.executable, "-B", ROOT / "clients" / "python" / "demo.py"]
        names = ["--system-name", gateway.system_name, "--service-key", "key"]
        words = [*demo, "--port", str(gateway.port()), *names]
        return subprocess.run(words, capture_output=True, text=True, timeout=PATIENCE)

    def test_the_paper_platform_inside_never_loads_the_component(self):
        gateway = self.new_gateway(COMPONENT)
        gateway.start("paper:", gateway.system_name, "key")
        self.client_of(gateway).ask("PONG")
        self.assertLess(time.monotonic() - gateway.started, START_LIMIT)
        demo = self.run_demo(gateway)
        self.assertEqual(demo.returncode, 0, demo.stderr)
        self.assertFalse(gateway.has_loaded_component())

    def test_the_paper_platform_as_the_component(self):
        gateway = self.new_gateway(COMPONENT)
        gateway.start("10.0.0.1:8000", gateway.system_name, "key")
        self.client_of(gateway).ask("PONG")
        self.assertLess(time.monotonic() - gateway.started, START_LIMIT)
        demo = self.run_demo(gateway)
        self.assertEqual(demo.returncode, 0, demo.stderr)
        self.assertIn('"DataType":"EXECUTIONREPORT"', demo.stdout)
        self.assertTrue(gateway.has_loaded_component())


class Factory(EndToEnd):
    def test_one_that_fails_twice_and_then_works(self):
        gateway, probe = self.start_probed(PROBE_FAIL=2)
        self.fire_host(gateway, probe, 1)
        self.assertEqual(self.client_of(gateway).ask("PONG")["Reply"], "PONG")


class Driven(EndToEnd):
    """One gateway on the probe for all tests of the class."""

    @classmethod
    def setUpClass(cls):
        cls.probe = Probe()
        cls.addClassCleanup(cls.probe.close)
        cls.gateway = Gateway(PROGRAM, PROBE)
        cls.addClassCleanup(cls.gateway.remove)
        name = cls.gateway.system_name
        words = ["host:1", name, "the key", "AliasO:Options", "ONE|TWO"]
        cls.gateway.start(*words, PROBE_PORT=cls.probe.port)
        cls.probe.accept()
        for command in [("answer", 1, "I4:1"), ("answer", 11, "BSTR:1"), ("go",)]:
            cls.probe.tell(*command)
        cls.gateway.logged("SubTopic:TWO")
        cls.probe.tell("fire", "host", 1)
        cls.probe.tell("fire", "host", 2, "I4:2", "I4:1", "BSTR:start")
        cls.gateway.logged("[PublishWorker]working...")
        cls.port = cls.gateway.port()
        cls.start_calls = until(
            lambda calls=[]: calls.extend(cls.probe.calls()) or (len(calls) == 7 and calls), "start-up calls"
        )

    def setUp(self):
        self.client = self.client_of(self.gateway)
        self.probe.tell("reference", 3, f"BSTR:{self.gateway.system_name}")
        self.login = self.client.log_in(self.gateway.system_name, "client key")
        self.assertEqual(self.login["Success"], "OK")
        self.login_calls = self.probe.calls()

    def register_classes(self):
        lines = ["Windows Registry Editor Version 5.00", ""]
        remove = list(lines)
        for name, identifier in REGISTRY_CLASSES.items():
            prog = rf"HKEY_LOCAL_MACHINE\Software\Classes\{name}"
            kind = rf"HKEY_LOCAL_MACHINE\Software\Classes\CLSID\{identifier}"
            file = windows_path(self.gateway.components / "OVTradeAPI64.dll").replace("\\", "\\\\")
            lines += [rf"[{prog}\CLSID]", f'@="{identifier}"', ""]
            lines += [rf"[{kind}\InprocServer32]", f'@="{file}"', '"ThreadingModel"="Both"', ""]
            remove += [f"[-{prog}]", f"[-{kind}]", ""]
        self.addCleanup(self.write_registry, remove)
        self.write_registry(lines)

    def write_registry(self, lines):
        file = self.gateway.folder / "classes.reg"
        file.write_text("\r\n".join(lines) + "\r\n")
        wine("regedit", "/S", windows_path(file))

    def failure(self, name, reason):
        return {"Reply": name, "Success": "Fail", "SessionKey": self.client.key, "ErrMsg": reason}

    def test_what_the_component_is_asked_at_the_start(self):
        name = self.gateway.system_name
        self.assertEqual(
            self.start_calls,
            [
                "TradeAPI method 19(I4 0)",
                f'TradeAPI method 1(BSTR "host:1", BSTR "{name}", BSTR "the key", I4 1) =',
                'TradeAPI method 12(BSTR "ONE")',
                'TradeAPI method 12(BSTR "TWO")',
                'TradeAPI method 11(BSTR "PERMISSIONS.General.LoginType") =',
                'TradeAPI method 3(I4 2, I4 0, BSTR "COM", &BSTR "")',
                'TradeAPI method 12(BSTR "VANTOR.RETURN")',
            ],
        )

    def test_the_service_key_is_checked_by_the_component(self):
        check = 'TradeAPI method 3(I4 3, I4 0, BSTR "COM", &BSTR "client key")'
        self.assertEqual(self.login_calls[0], check)
        for answer in ("EMPTY", "I4:1", "BSTR:someone else"):
            self.probe.tell("reference", 3, answer)
            client = self.client_of(self.gateway)
            reply = client.log_in(self.gateway.system_name, "client key")
            self.assertEqual(reply["Success"], "Fail", answer)

    def test_an_order_is_put_property_by_property(self):
        for golden, kind, symbol, type_of in [
            ("stock_order", "8", "OV.S.X.A", "Stock"),
            ("futopt_order", "9", "OV.F.X.A", "FutOpt"),
        ]:
            param, expected = {}, []
            lines = (ROOT / "tests" / "golden" / f"{golden}.txt").read_text().split("\n")
            for number, line in enumerate(filter(None, lines), start=1001):
                identifier, form, member = re.fullmatch(r"(\d+)=(\w+) (\w+)", line).groups()
                sent = f"50000000{number}" if form == "int64" else str(number)
                put = sent
                if form == "string" and (member.endswith("Price") or member.startswith("Breakeven")):
                    put += "0000000000"
                if member == "ChasePrice":
                    sent, put = f"1.2|{number}", f"12000000000|{number}"
                if member == "Symbol":
                    sent = put = symbol
                if member == "UserKey2":
                    put = f"UK#2={sent}"
                if member == "Source":
                    put = "Halvane"
                else:
                    param[member] = sent
                value = {"string": f'BSTR "{put}"', "int": f"I4 {put}", "int64": f"I8 {put}"}[form]
                expected.append(f"{type_of} put {identifier}({value}) named -3")
            expected.append(f"TradeAPI method 22(I4 {kind}, DISPATCH {type_of}) =")
            self.probe.tell("answer", 22, "I4:1")
            reply = self.client.ask("NEWORDER", Param=param)
            self.assertEqual(reply, {"Reply": "NEWORDER", "Success": "OK"})
            self.assertEqual(self.probe.calls(), expected)

    def test_two_classes_come_from_the_registry_alone(self):
        replace = {"ReportID": "R1", "OrderQty": "3", "Price": "101.25"}
        self.assertEqual(
            self.client.ask("REPLACEORDER", Param=replace), self.failure("REPLACEORDER", "Initial failed")
        )
        self.assertEqual(
            self.client.ask("QUERYOPTCOMBORDER", AccountMask="A-1"),
            self.failure("QUERYOPTCOMBORDER", "Initial failed"),
        )
        self.register_classes()
        self.probe.calls()
        self.probe.tell("answer", 6, "I4:1")
        reply = self.client.ask("REPLACEORDER", Param=replace)
        self.assertEqual(reply, {"Reply": "REPLACEORDER", "ReportID": "R1", "Success": "OK"})
        calls = self.probe.calls()
        self.assertEqual(calls[0], 'Replace put 1(BSTR "R1") named -3')
        self.assertIn("Replace put 4(I8 1012500000000) named -3", calls)
        self.assertEqual(calls[-1], "TradeAPI method 6(DISPATCH Replace) =")
        self.probe.tell("fire", "trade", 1, "I4:32", "BSTR:A-1", "I4:1")
        self.probe.tell("answer", 4, "I4:1")
        self.probe.tell("answer", 2, "BSTR:by name")
        reply = self.client.ask("QUERYOPTCOMBORDER", AccountMask="A-1")
        self.assertEqual(reply["Success"], "OK")
        calls = self.probe.calls()
        self.assertEqual(calls[0], 'TradeAPI method 4(I4 32, I4 0, BSTR "A-1", DISPATCH Combination) =')
        self.assertRegex(calls[1], r'^Combination method 2\(BSTR "\w+"\) =$')

    def test_events_become_publications(self):
        self.client.subscribe(self.login["SubPort"])
        # A subscription takes a moment; publications before it are lost.
        until(
            lambda: self.probe.tell("fire", "trade", 5) == "0" and self.client.publications.poll(100),
            "a publication",
        )
        self.probe.tell("answer", 8, "I4:1")
        self.probe.tell("answer", 5, "BSTR:R-1 Ж")
        self.assertEqual(self.probe.tell("fire", "trade", 3, "BSTR:R-1"), "0")
        report = self.client.publication("EXECUTIONREPORT")["Report"]
        self.assertEqual(report["ReportID"], "R-1 Ж")
        self.assertIn('TradeAPI method 8(I4 0, BSTR "R-1", DISPATCH Report) =', self.probe.calls())
        self.probe.tell("fire", "trade", 12, "BSTR:F-1")
        self.client.publication("FILLEDREPORT")
        self.probe.tell("fire", "trade", 19)
        self.client.publication("POSITIONTRACKER")
        self.assertEqual(self.probe.tell("fire", "trade", 4), str(MEMBER_NOT_FOUND))

    def test_a_component_that_throws_costs_one_request(self):
        order = {"Symbol": "OV.S.X.A"}
        self.probe.tell("fail", 22, EXCEPTION, 4711, "the exchange is closed")
        reply = self.client.ask("NEWORDER", Param=order)
        self.assertEqual(reply, self.failure("NEWORDER", "internal error"))
        errors = [line for line in self.gateway.lines() if "[ERROR]" in line]
        self.assertIn("the exchange is closed", errors[-1])
        self.probe.tell("mend", 22)
        self.probe.tell("answer", 22, "I4:1")
        self.assertEqual(self.client.ask("NEWORDER", Param=order)["Success"], "OK")

    def test_a_past_list_comes_through_a_named_event(self):
        file = self.gateway.folder / "list.txt"
        file.write_bytes(b"\xff\xfe" + '{"Node":[]}'.encode("utf-16-le"))
        self.probe.calls()
        # The question is asked; the answer comes while the handler waits.
        request = {"Request": "QUERYALLINSTRUMENT", "SessionKey": self.client.key}
        request |= {"Type": "Options", "DateTime": "20240105"}
        self.client.requests.send(json.dumps(request).encode())
        asked = 'TradeAPI method 14(BSTR "VANTOR.RECOVER", I4 20240105, BSTR "AliasO", &EMPTY)'
        until(lambda: asked in self.probe.calls(), "the question")
        path = windows_path(file)
        self.probe.tell("fire", "trade", 9, "BSTR:VANTOR.RETURN", "I4:20240105", "BSTR:AliasO", f"&BSTR:{path}")
        reply = json.loads(self.client.requests.recv()[:-1])
        self.assertEqual(reply["Instruments"], {"Node": []})

    def test_what_the_program_exports_serves_a_module(self):
        report = self.probe.tell("guest", windows_path(GUEST)).split("\n")
        self.assertEqual(report[0], "1WARN closed")
        self.assertRegex(report[1], r"^value-5 sessions [1-9]\d*$")
        self.assertEqual(report[2:], ["guest-folder,a,b,", "GuestNews=hello"])

        def log():
            return b"".join(file.read_bytes() for file in self.gateway.folder.glob("guest-*.log"))

        line = until(log, "the guest's log").decode()
        self.assertRegex(line, r"^[\d:. ]+\[INFO \]  the guest logs number 7\r\n$")

    def test_nothing_grows(self):
        order = {"Symbol": "OV.S.X.A", "Price": "10"}
        self.probe.tell("answer", 22, "I4:1")
        self.probe.tell("answer", 8, "I4:1")

        def serve(rounds):
            for _ in range(rounds):
                self.client.ask("NEWORDER", Param=order)
                self.client.ask("ACCOUNTS")
                self.client.ask("PONG")
                self.probe.tell("fire", "trade", 3, "BSTR:R-1")
            self.probe.calls()
            return self.probe.tell("objects"), [int(n) for n in self.probe.tell("resources").split()]

        objects, (handles, modules) = serve(20)
        more_objects, (more_handles, more_modules) = serve(500)
        self.assertEqual((more_objects, more_modules), (objects, modules))
        self.assertGreater(handles, 0)
        self.assertLess(more_handles, handles + 10)


class Exports(unittest.TestCase):
    def test_the_names_that_other_modules_look_for(self):
        words = ["x86_64-w64-mingw32-objdump", "-p", PROGRAM]
        dump = subprocess.run(words, capture_output=True, text=True, check=True).stdout
        table = dump[dump.index("[Ordinal/Name Pointer] Table") :].split("\n\n")[0]
        names = set(re.findall(r"^\t\[ *\d+\] (\S+)$", table, re.MULTILINE))
        plain = """ILogger_Create ILogger_Destroy ILogger_GetErrorDesc ILogger_GetLogLevelDesc StringSplit
            CreateFolder DeleteFolder GetFileNameList RegisterNotification UnregisterNotification
            SendNotification GetDataFromTopic SetTopic"""
        self.assertLessEqual(set(plain.split()), names)
        for member in (
            "_ZN10CppUtility8BaseData14CreateInstanceEv",
            "_ZN10CppUtility8BaseData7ReleaseEv",
            "_ZN13CStaticLoggerC1Ei",
            "_ZN13CStaticLoggerD1Ev",
            "_ZN13CStaticLogger5ResetEP7ILogger",
        ):
            self.assertIn(member, names)
        # Nothing beside it but what the system has.
        own = set(re.findall(r"DLL Name: (lib\S+)", dump))
        self.assertEqual(own, set())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:-4])
