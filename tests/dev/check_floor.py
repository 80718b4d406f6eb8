#!/usr/bin/env python3
"""check_floor.py ROOT: which requests ./dev bench floor finds in the protocol of Wine's server, and whose they are."""
import contextlib
import io
import os
import sys
import unittest

ROOT = sys.argv.pop()
sys.dont_write_bytecode = True
sys.path.insert(0, os.path.join(ROOT, "bench", "floor"))
import floor  # noqa: E402

ORDERS = 'create_mapping( access=000f0007, objattr={rootdir=0060,name=L"vdipc-floor-orders"} )'
FROM = 'create_event( access=001f0003, objattr={rootdir=0060,name=L"vdipc-floor-count-from"} )'
TO = 'create_event( access=001f0003, objattr={rootdir=0060,name=L"vdipc-floor-count-to"} )'


def started(thread, process):
    return [f"{thread}: init_first_thread( unix_pid=2951, unix_tid=2951, debug_level=0, reply_fd=7, wait_fd=9 )",
            f"{thread}: init_first_thread() = 0 {{ pid={process}, tid={thread}, session_id=00000001 }}"]


def asked(thread, *requests):
    lines = []
    for request in requests:
        lines += [f"{thread}: {request}", f"{thread}: {request.split('(')[0]}() = 0 {{ handle=0014 }}"]
    return lines


def thread_of(thread, new):
    return [f"{thread}: new_thread( process=ffffffff, access=001fffff, flags=00000001, request_fd=12, objattr={{}} )",
            f"{thread}: new_thread() = 0 {{ tid={new}, handle=0018 }}"]


BEFORE = [*started("0024", "0020"), *started("00f4", "00f0"), *asked("00f4", ORDERS), *thread_of("00f4", "0108"),
          *started("00fc", "00f8"), *asked("00fc", ORDERS, "read( async={handle=0070} )")]
ONE_KEY = [*asked("0108", "create_event( access=001f0003, objattr={} )", "write( async={handle=0074} )",
                  "close_handle( handle=0078 )"),
           *asked("00fc", "read( async={handle=0070} )", "select( flags=2 )", "select( flags=2 )")]


class Floor(unittest.TestCase):
    def test_requests_between_the_marks_count_for_host_and_client(self):
        lines = BEFORE + asked("00fc", FROM) + 2 * ONE_KEY + asked("00fc", TO) + ONE_KEY
        requests = floor.Requests(lines, 2)
        self.assertEqual(requests.host, {"create_event": 1, "write": 1, "close_handle": 1})
        self.assertEqual(requests.client, {"read": 1, "select": 2})
        self.assertEqual(requests.total(), 6)

    def test_what_others_ask_meanwhile_does_not_count(self):
        services = asked("0024", "select( flags=2 )", "get_key_value( hkey=0010 )")
        late = [*started("0200", "01fc"), *asked("0200", "open_key( parent=0000 )")]
        lines = BEFORE + asked("00fc", FROM) + ONE_KEY + services + late + asked("00fc", TO)
        self.assertEqual(floor.Requests(lines, 1).total(), 6)

    def test_thread_made_meanwhile_counts_for_its_process(self):
        more = [*thread_of("0108", "0110"), *asked("0110", "event_op( handle=0010, op=1 )")]
        requests = floor.Requests(BEFORE + asked("00fc", FROM) + more + asked("00fc", TO), 1)
        self.assertEqual(requests.host, {"new_thread": 1, "event_op": 1})
        self.assertEqual(requests.client, {})

    def test_protocol_without_both_marks_is_refused(self):
        for lines in (BEFORE + ONE_KEY, BEFORE + asked("00fc", FROM) + ONE_KEY):
            with self.assertRaises(SystemExit):
                floor.Requests(lines, 1)

    def test_table_shows_host_client_and_sum_of_each_program(self):
        requests = floor.Requests(BEFORE + asked("00fc", FROM) + ONE_KEY + asked("00fc", TO), 1)
        text = io.StringIO()
        with contextlib.redirect_stdout(text):
            floor.print_requests({"a key": [requests, requests]}, ["ours", "srw"])
        self.assertIn("| a key | 3.0 + 3.0 = 6.0 | 3.0 + 3.0 = 6.0 |", text.getvalue())
        self.assertIn("| a key | srw | close_handle 1.0, create_event 1.0, write 1.0 | read 1.0, select 2.0 |", text.getvalue())


if __name__ == "__main__":
    unittest.main()
