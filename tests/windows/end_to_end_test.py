"""Runs Halvane64.exe under Wine, installed as the platform installs it, with real components in its folder,
and talks to it from this system. The last arguments are the program, the same that counts the entries of its
automation binding, our component, the probe, a module that uses what the program exports, and a program
that says how another one's window is shown."""

import json
import re
import subprocess
import time
import unittest

import zmq

from gateway import InstalledGateway, Probe, windows_path, wine
from running_gateway import EXPORTS, PATIENCE, ROOT, SERVICE_KEY, connect, take_paths, until

from halvane import HalvaneError

PROGRAM, COUNTED, COMPONENT, PROBE, GUEST, SHOWN_WINDOW = take_paths(6)
HOST_EVENTS = "{34DBB30A-5EEC-4F17-B62F-95D47EFCA465}"
TRADE_EVENTS = "{485C6CCF-70AE-4CAD-810F-9B67B9BD135E}"
MEMBER_NOT_FOUND = -2147352573
EXCEPTION = -2147352567
START_LIMIT = 15  # seconds; a machine that does nothing else needs one or two


class EndToEnd(unittest.TestCase):
    def new_gateway(self, component=None, program=PROGRAM, **options):
        gateway = InstalledGateway(program, component, **options)
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

    def expect_served(self, gateway):
        with gateway.client() as client:
            self.assertEqual(client.request("PONG")["Reply"], "PONG")

    def expect_end(self, gateway, last):
        self.assertEqual(gateway.wait(), 0)
        self.assertTrue(gateway.lines()[-1].endswith(last), gateway.lines())

    def expect_failure(self, gateway, last):
        self.assertEqual(gateway.wait(), 0)
        self.assertTrue(gateway.lines()[-2].endswith(last), gateway.lines())
        self.assertIn("HalvaneDoctor", gateway.lines()[-1])


class StartUpFailures(EndToEnd):
    """Each leaves one Fatal line, behind it only where help is, and exit code 0."""

    def test_too_few_arguments(self):
        gateway = self.new_gateway(COMPONENT)
        gateway.start("host:1", "A")
        self.expect_failure(gateway, "[FATAL]  Authentication failed!!")

    def test_a_second_instance(self):
        first, second, other = (self.new_gateway() for _ in range(3))
        first.start_on_paper()
        first.logged("[RepWorker]working...")
        second.system_name = first.system_name
        second.start_on_paper()
        self.expect_failure(second, "[FATAL]  CheckInstance failed!!")
        other.start_on_paper()
        for each in (other, first):
            self.expect_served(each)

    def test_no_component(self):
        gateway = self.new_gateway()
        gateway.start("host:1", gateway.system_name, "key")
        self.expect_failure(gateway, "[FATAL]  Create Ovaro.TradeAPI.1 failed")

    def test_a_component_without_the_host_events(self):
        gateway, _ = self.start_probed(PROBE_DEAF=HOST_EVENTS)
        self.expect_failure(gateway, "[FATAL]  Create event failed")

    def test_a_component_without_the_trade_events(self):
        gateway, probe = self.start_probed(PROBE_DEAF=TRADE_EVENTS)
        self.fire_host(gateway, probe, 2, "I4:2", "I4:1", "BSTR:")
        self.expect_failure(gateway, "[FATAL]  Create event failed")

    def test_a_platform_that_refuses(self):
        for told, result in [
            (("answer", 1, "I4:-3"), -3),
            (("fail", 1, EXCEPTION, 1234, "not today"), 0),
        ]:
            gateway, _ = self.start_probed(told)
            self.expect_failure(gateway, f"[FATAL]  failed to connect to Ovaro, result:{result}")


class Ending(EndToEnd):
    def test_the_stop_command_comes_on_the_components_own_thread(self):
        # The prefix without a desktop stays, for the next time.
        bare = {"HALVANE_WINE": PROGRAM.parent / "prefix-without-desktop", "HALVANE_WINE_DESKTOP": "none"}
        for environment in ({}, bare):
            with self.subTest(environment):
                asked = PROGRAM.parent / f"asked-{time.monotonic_ns()}"
                self.addCleanup(asked.unlink)
                gateway, probe = self.start_probed(PROBE_ASKED=windows_path(asked), **environment)
                self.fire_host(gateway, probe, 1)
                gateway.logged("[RepWorker]working...")
                self.fire_host(gateway, probe, 2, "I4:2", "I4:1", "BSTR:")
                gateway.logged("[PublishWorker]working...")
                self.ask_for_refused_rows(gateway, probe)
                self.fire_host(gateway, probe, 2, "I4:2", "I4:0", "BSTR:go home")
                self.assertEqual(gateway.wait(), 0)
                self.assertIn("OnCommandMsg:2-0-go home", gateway.messages())
                self.assertEqual(asked.read_text(), "0")  # objects were left when it was asked to go

    def ask_for_refused_rows(self, gateway, probe):
        """A handler asks for them again and again and holds an item meanwhile."""
        probe.tell("reference", 3, f"BSTR:{gateway.system_name}")
        probe.tell("fire", "trade", 1, "I4:1", "BSTR:", "I4:1")
        client = gateway.client()
        self.addCleanup(client.close)
        client.log_in(gateway.system_name, "key")
        asker = connect(zmq.REQ, client.port)
        self.addCleanup(asker.close)
        probe.calls()
        asker.send(client.compose("ACCOUNTS"))
        until(lambda: any(" method 4(" in call for call in probe.calls()), "the question")

    def test_a_component_that_crashes_in_the_farewell(self):
        for place in (1, 2):
            gateway, probe = self.start_probed(PROBE_CRASH=place)
            gateway.logged("MyIP:")
            probe.say("fire", "host", 2, "I4:2", "I4:0", "BSTR:")  # the answer may be lost in the crash
            self.expect_end(gateway, "OnCommandMsg:2-0-")

    def test_closing_the_window(self):
        gateway = self.new_gateway(name="to be closed")
        gateway.start_on_paper()
        gateway.logged("[PublishWorker]working...")
        self.assertEqual(gateway.end(), 0)

    def test_the_window_is_open_on_paper_and_minimised_with_a_platform(self):
        for address, shown in [("paper:", "open"), ("host:1", "minimised")]:
            gateway = self.new_gateway(COMPONENT, name=shown)
            gateway.start(address, gateway.system_name, SERVICE_KEY)
            gateway.logged("[PublishWorker]working...")
            self.assertEqual(wine(SHOWN_WINDOW, gateway.program.name), shown)


class Paper(EndToEnd):
    """The paper platform inside the program and in our component; the entries of the binding are counted."""

    def start_counted(self, host_address):
        gateway = self.new_gateway(COMPONENT, COUNTED, name="counted")
        wine("cmd", "/c", "exit")  # the prefix and Wine's own services are no part of the start
        started = time.monotonic()
        gateway.start(host_address, gateway.system_name, SERVICE_KEY, "PaperStk", "ANY")
        self.expect_served(gateway)
        self.assertLess(time.monotonic() - started, START_LIMIT)
        demo = gateway.run_demo("--port", str(gateway.port()))
        self.assertEqual(demo.returncode, 0, demo.stderr)
        self.assertIn('"DataType":"EXECUTIONREPORT"', demo.stdout)
        return gateway

    def entries(self, gateway):
        return int.from_bytes((gateway.folder / "Entered.bin").read_bytes(), "little")

    def test_inside_it_never_enters_the_binding_for_the_component(self):
        gateway = self.start_counted("paper:")
        client = gateway.logged_in_client()
        self.addCleanup(client.close)
        account = client.request("ACCOUNTS")["Accounts"][0]
        mine = {"QryIndex": "0", "AccountMask": account["AccountMask"]}
        order = {"BrokerID": account["BrokerID"], "Account": account["Account"], "Symbol": "OV.S.PAPX.ALFA"}
        order |= {"Side": "1", "OrderQty": "100", "OrderType": "2", "Price": "108.5"}
        resting = client.request("RESTOREREPORT", QryIndex="0")["Orders"][-1]["ReportID"]
        for name, members in [
            ("NEWORDER", {"Param": order}),
            ("NEWSTRATEGYORDER", {"Param": order | {"StrategyType": "SIMPLE"}}),
            ("REPLACEORDER", {"Param": {"ReportID": resting, "OrderQty": "50"}}),
            ("CANCELORDER", {"Param": {"ReportID": resting}}),
            ("OPTCOMB", {"Param": order | {"CombDirection": "1"}}),
            ("SENDMESSAGE", {"Param": {"System": "LINE", "LineID": "me", "Message": "done"}}),
            ("RESTOREFILLREPORT", mine),
            ("MARGINS", mine),
            ("POSITIONS", mine),
            ("POSITIONTRACKER", mine),
            ("QUERYOPTCOMBORDER", mine),
            ("QUERYOPTCOMBPOSITION", mine),
            ("QUERYINSTRUMENTINFO", {"Symbol": order["Symbol"]}),
            ("QUERYALLINSTRUMENT", {"Type": "PaperStk"}),
            ("QUERYALLINSTRUMENT", {"Type": "PaperStk", "DateTime": "20240105"}),
            ("PONG", {}),
            ("LOGOUT", {}),
        ]:
            with self.subTest(name):
                self.assertEqual(client.request(name, **members)["Success"], "OK")
        self.assertEqual(gateway.end(), 0)
        self.assertEqual(self.entries(gateway), 0)

    def test_large_requests_do_not_stall(self):
        gateway = self.new_gateway()
        gateway.start_on_paper()
        self.assertTrue(any(gateway.slowest_large_request() < 0.5 for _ in range(3)))  # a busy machine stalls, too

    def test_as_the_component_it_is_reached_through_the_binding(self):
        gateway = self.start_counted("10.0.0.1:8000")
        self.assertEqual(gateway.end(), 0)
        self.assertGreater(self.entries(gateway), 0)


class Driven(EndToEnd):
    """One gateway on the probe for all tests of the class."""

    @classmethod
    def setUpClass(cls):
        cls.probe = Probe()
        cls.addClassCleanup(cls.probe.close)
        cls.gateway = InstalledGateway(PROGRAM, PROBE)
        cls.addClassCleanup(cls.gateway.remove)
        name = cls.gateway.system_name
        words = ["host:1", name, SERVICE_KEY, "AliasO:Options", "ONE|TWO"]
        cls.gateway.start(*words, PROBE_PORT=cls.probe.port)
        cls.probe.accept()
        for command in [("answer", 1, "I4:1"), ("answer", 11, "BSTR:1"), ("go",)]:
            cls.probe.tell(*command)
        cls.gateway.logged("SubTopic:TWO")
        cls.probe.tell("fire", "host", 1)
        cls.probe.tell("fire", "host", 2, "I4:2", "I4:1", "BSTR:start")
        cls.gateway.logged("[PublishWorker]working...")
        cls.start_calls = until(
            lambda calls=[]: calls.extend(cls.probe.calls()) or (len(calls) == 7 and calls), "start-up calls"
        )

    def setUp(self):
        self.client = self.gateway.client()
        self.addCleanup(self.client.close)
        self.probe.tell("reference", 3, f"BSTR:{self.gateway.system_name}")
        self.client.log_in(self.gateway.system_name, SERVICE_KEY)
        self.login_calls = self.probe.calls()

    def failure(self, name, reason):
        return {"Reply": name, "Success": "Fail", "SessionKey": self.client.session_key, "ErrMsg": reason}

    def test_what_the_component_is_asked_at_the_start(self):
        name = self.gateway.system_name
        self.assertEqual(
            self.start_calls,
            [
                "TradeAPI method 19(I4 0)",
                f'TradeAPI method 1(BSTR "host:1", BSTR "{name}", BSTR "{SERVICE_KEY}", I4 1) =',
                'TradeAPI method 12(BSTR "ONE")',
                'TradeAPI method 12(BSTR "TWO")',
                'TradeAPI method 11(BSTR "PERMISSIONS.General.LoginType") =',
                'TradeAPI method 3(I4 2, I4 0, BSTR "COM", &BSTR "")',
                'TradeAPI method 12(BSTR "VANTOR.RETURN")',
            ],
        )

    def test_the_service_key_is_checked_by_the_component(self):
        check = f'TradeAPI method 3(I4 3, I4 0, BSTR "COM", &BSTR "{SERVICE_KEY}")'
        self.assertEqual(self.login_calls[0], check)
        for answer in ("EMPTY", "I4:1", "BSTR:someone else"):
            self.probe.tell("reference", 3, answer)
            with self.assertRaises(HalvaneError, msg=answer):
                self.client.log_in(self.gateway.system_name, SERVICE_KEY)

    def test_an_order_is_put_property_by_property(self):
        given = {"UserKey2": "two", "ChasePrice": "1.2|3"}  # these are put only if there is something to put
        forms = {"string": "BSTR", "int": "I4", "int64": "I8"}
        self.probe.tell("answer", 22, "I4:1")
        for golden, kind, symbol, name in [
            ("stock_order", 8, "OV.S.X.A", "Stock"),
            ("futopt_order", 9, "OV.F.X.A", "FutOpt"),
        ]:
            reply = self.client.request("NEWORDER", Param=given | {"Symbol": symbol})
            self.assertEqual(reply, {"Reply": "NEWORDER", "Success": "OK"})
            *puts, last = self.probe.calls()
            self.assertEqual(last, f"TradeAPI method 22(I4 {kind}, DISPATCH {name}) =")
            self.assertIn(f'(BSTR "{symbol}") named -3', " ".join(puts))
            lines = (ROOT / "tests" / "golden" / f"{golden}.txt").read_text().splitlines()
            expected = [re.match(r"(\d+)=(\w+)", line).groups() for line in lines]
            self.assertEqual(
                [re.match(r"\w+ put \d+\(\w+", put)[0] for put in puts],
                [f"{name} put {identifier}({forms[form]}" for identifier, form in expected],
            )

    def test_events_become_publications(self):
        def published(kind):
            publications = self.client.publications(PATIENCE)
            return next(each for each in publications if each["DataType"] == kind)

        self.client.subscribe()
        # A subscription takes a moment; publications before it are lost.
        until(
            lambda: self.probe.tell("fire", "trade", 5) == "0" and any(self.client.publications(0.1)),
            "a publication",
        )
        self.probe.tell("answer", 8, "I4:1")
        self.probe.tell("answer", 5, "BSTR:R-1 Ж")
        self.assertEqual(self.probe.tell("fire", "trade", 3, "BSTR:R-1"), "0")
        report = published("EXECUTIONREPORT")["Report"]
        self.assertEqual(report["ReportID"], "R-1 Ж")
        self.assertIn('TradeAPI method 8(I4 0, BSTR "R-1", DISPATCH Report) =', self.probe.calls())
        self.probe.tell("fire", "trade", 12, "BSTR:F-1")
        published("FILLEDREPORT")
        self.probe.tell("fire", "trade", 19)
        published("POSITIONTRACKER")
        self.assertEqual(self.probe.tell("fire", "trade", 4), str(MEMBER_NOT_FOUND))

    def test_a_component_that_throws_costs_one_request_or_one_property(self):
        order = {"Symbol": "OV.S.X.A"}
        self.probe.tell("fail", 22, EXCEPTION, 4711, "the exchange is closed")
        reply = self.client.request("NEWORDER", Param=order)
        self.assertEqual(reply, self.failure("NEWORDER", "internal error"))
        errors = until(lambda: [line for line in self.gateway.lines() if "[ERROR]" in line], "a line of the log")
        self.assertIn("the exchange is closed", errors[-1])
        self.probe.tell("mend", 22)
        self.probe.tell("answer", 22, "I4:1")
        self.probe.tell("fail", 14, EXCEPTION, 4711, "no room for keys")
        self.assertEqual(self.client.request("NEWORDER", Param=order)["Success"], "OK")
        self.probe.tell("mend", 14)
        refused = "[RepWorker]NEWORDER 8: put of property 14 refused: no room for keys"
        until(lambda: refused in self.gateway.messages(), refused)

    def test_a_past_list_comes_through_a_named_event(self):
        file = self.gateway.folder / "list.txt"
        file.write_bytes(b"\xff\xfe" + '{"Node":[]}'.encode("utf-16-le"))
        self.probe.calls()
        # The question is asked; the answer comes while the handler waits.
        asker = connect(zmq.REQ, self.client.port)
        self.addCleanup(asker.close)
        asker.send(self.client.compose("QUERYALLINSTRUMENT", Type="Options", DateTime="20240105"))
        asked = 'TradeAPI method 14(BSTR "VANTOR.RECOVER", I4 20240105, BSTR "AliasO", &EMPTY)'
        until(lambda: asked in self.probe.calls(), "the question")
        path = windows_path(file)
        self.probe.tell("fire", "trade", 9, "BSTR:VANTOR.RETURN", "I4:20240105", "BSTR:AliasO", f"&BSTR:{path}")
        reply = json.loads(asker.recv()[:-1])
        self.assertEqual(reply["Instruments"], {"Node": []})

    def test_what_the_program_exports_serves_a_module(self):
        report = self.probe.tell("guest", windows_path(GUEST)).split("\n")
        self.assertEqual(report[0], "1WARN fine")
        self.assertRegex(report[1], r"^value-5 sessions [1-9]\d*$")
        self.assertEqual(report[2:], ["guest-folder,a,b,", "GuestNews=hello"])

        def log():
            return b"".join(file.read_bytes() for file in self.gateway.folder.glob("guest-*.log"))

        until(lambda: b"the end" in log(), "the guest's log")
        self.assertRegex(log().decode(), r"^[\d:. ]+\[INFO \]  the guest logs number 7\r\n[\d:. ]+\[ERROR\]")

    def test_nothing_grows(self):
        order = {"Symbol": "OV.S.X.A", "Price": "10"}
        self.probe.tell("answer", 22, "I4:1")
        self.probe.tell("answer", 8, "I4:1")

        def serve(rounds):
            for _ in range(rounds):
                self.client.request("NEWORDER", Param=order)
                self.client.request("ACCOUNTS")
                self.client.request("PONG")
                self.probe.tell("fire", "trade", 3, "BSTR:R-1")
            self.probe.calls()
            return self.probe.tell("objects"), [int(n) for n in self.probe.tell("resources").split()]

        objects, (handles, modules) = serve(20)
        more_objects, (more_handles, more_modules) = serve(150)
        self.assertEqual((more_objects, more_modules), (objects, modules))
        self.assertGreater(handles, 0)
        self.assertLess(more_handles, handles + 10)


class Exports(unittest.TestCase):
    def test_the_names_that_other_modules_look_for(self):
        words = ["x86_64-w64-mingw32-objdump", "-p", PROGRAM]
        dump = subprocess.run(words, capture_output=True, text=True, check=True).stdout
        table = dump[dump.index("[Ordinal/Name Pointer] Table") :].split("\n\n")[0]
        names = set(re.findall(r"^\t\[ *\d+\] (\S+)$", table, re.MULTILINE))
        self.assertLessEqual(set(EXPORTS), names)
        # Nothing beside it but what the system has.
        own = set(re.findall(r"DLL Name: (lib\S+)", dump))
        self.assertEqual(own, set())


if __name__ == "__main__":
    unittest.main()
