"""Tests that the judge of layouts sees every way in which a run can be wrong."""

import json
import unittest

import judge
import layouts

LAYOUT = layouts.disk("bad", "bad=3+5-6", 10, verdict="FAIL", bad={"unreadable": "3+5", "wrongData": "6"}, skipped="9")
LIST = "# bad sectors\n3 1 unreadable\n5 1 unreadable\n6 1 wrongData\n"
RIGHT = {"result": [{"result": "FAIL", "errors": 3, "warnings": 0}],
         "badSectors": [{"fault": "unreadable", "ranges": [[3, 3], [5, 5]]}, {"fault": "wrongData", "ranges": [[6, 6]]}],
         "coverage": [{"unit": "sectors", "requested": 10, "tested": 6, "failed": 3, "skipped": 1}],
         "surface": [{"sectorsPerCell": 1, "cells": 10, "outcomes": [[1, 3], [2, 1], [1, 1], [2, 2], [1, 2], [0, 1]]}]}


def judged(layout=LAYOUT, status=1, bad_list=LIST, **changed):
    extensions = [{"name": name, "content": content} for name, contents in {**RIGHT, **changed}.items() for content in contents]
    record = "\n".join(json.dumps({"testStepArtifact": {"extension": extension}}) for extension in extensions)
    return judge.Judgement(layout, status, record, bad_list)


class Judge(unittest.TestCase):
    def test_what_is_right(self):
        self.assertEqual(judged().problems, [])
        self.assertEqual(judged().row(), "| bad | LinearReadTest | FAIL | 3/3 | 1.000 | 1.000 | yes | yes |")

    def test_what_is_wrong(self):
        surface, coverage = RIGHT["surface"][0], RIGHT["coverage"][0]
        cases = [
            ({"status": 0}, "exit status: 0"), ({"result": [{"result": "PASS"}]}, "verdict: PASS"),
            ({"badSectors": RIGHT["badSectors"][:1]}, "1 bad sectors missing from the record"),
            ({"badSectors": [*RIGHT["badSectors"], {"fault": "unreadable", "ranges": [[7, 8]]}]},
             "2 bad sectors wrongly in the record, such as [(7, 'unreadable')"),
            ({"badSectors": 2 * RIGHT["badSectors"]}, "bad sectors told twice in the record: 3"),
            ({"bad_list": LIST[:-14]}, "1 bad sectors missing from the list"),
            ({"bad_list": LIST + "8-9 3 unreadable\n"}, "count of \"8-9 3 unreadable\": 3, expected 2"),
            ({"bad_list": LIST + "8\n"}, "\"8\" in the list is understood"),
            ({"coverage": [{**coverage, "tested": 7, "skipped": 0}]}, "coverage: "),
            ({"coverage": [{**coverage, "unit": "positions"}]}, "coverage: "), ({"coverage": []}, "extensions named coverage: 0"),
            ({"surface": [{**surface, "outcomes": [[1, 3], [2, 1], [1, 1], [2, 2], [1, 3]]}]},
             "wrong cells of the surface: [9]"),
            ({"surface": [{**surface, "cells": 9}]}, "cells of the surface: (9, 10)"),
        ]
        for changed, problem in cases:
            with self.subTest(changed=changed):
                self.assertIn(problem, "; ".join(judged(**changed).problems))

    def test_a_drive_that_was_not_there_to_the_end(self):
        layout = layouts.disk("gone", "gone-at=7", 10, verdict="FAIL", bad={"unreadable": "3"}, skipped="rest")
        part = {"badSectors": [{"fault": "unreadable", "ranges": [[3, 3]]}], "bad_list": "3 1 unreadable\n"}
        coverage = {"unit": "sectors", "requested": 10, "tested": 5, "failed": 1, "skipped": 4}
        surface = {"sectorsPerCell": 1, "cells": 10, "outcomes": [[1, 3], [2, 1], [1, 2], [0, 4]]}
        self.assertEqual(judged(layout, coverage=[coverage], surface=[surface], **part).problems, [])
        for wrong in ({"coverage": [{**coverage, "tested": 9, "skipped": 0}]}, {"coverage": [{**coverage, "skipped": 3}]},
                      {"surface": [{**surface, "outcomes": [[1, 3], [2, 1], [1, 1], [0, 5]]}]}):
            with self.subTest(wrong=wrong):
                given = {"coverage": [coverage], "surface": [surface], **part, **wrong}
                self.assertNotEqual(judged(layout, **given).problems, [])


if __name__ == "__main__":
    unittest.main()
