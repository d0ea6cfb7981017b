#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Has a JSON Schema validator judge good and bad definition files: schema_test.py ROOT"""

import json
import pathlib
import sys
import unittest

import jsonschema

ROOT = pathlib.Path(sys.argv.pop(1))
SCHEMA = json.loads((ROOT / "docs/render-definitions.schema.json").read_text())

# A tag's members, and a word of what is wrong with them.
BAD_TAGS = [
    ({"dts_sorce": "s"}, "dts_sorce"),
    ({"dts_source": 7}, "string"),
    ({"dts_type": "lst"}, "lst"),
    ({"dts_type": "list"}, "dts_source"),
    ({"dts_type": "leaf", "dts_source": ""}, "''"),
    ({"dts_data_type": "decimal64"}, "dts_data_decimal64_fraction"),
    ({"dts_data_decimal64_fraction": 19}, "19"),
    ({"dts_zero_suppression": "yes"}, "yes"),
    ({"dts_key": "name"}, "array"),
    ({"dts_map": [["1", "up", "x"]]}, "too long"),
    ({"dts_kids": [{"dts_kid": []}]}, "dts_kid"),
]
BAD_FILES = [
    ({}, "array"),
    ([7], "object"),
    ([{"dc_help": "h"}], "dc_notify_leaf"),
    ([{"dc_name": "c", "dc_app_nam": "a"}], "dc_app_nam"),
    ([{"dc_external_notify_name": "n", "dc_help": "h"}], "dc_help"),
    ([{"dc_notify_leaf": "l", "dc_internal_notify_name": "i"}], "array"),
]


class Schema(unittest.TestCase):
    def setUp(self):
        self.validator = jsonschema.Draft202012Validator(SCHEMA)

    def faults(self, definitions):
        return [error.message for error in self.validator.iter_errors(definitions)]

    def test_it_is_a_schema(self):
        jsonschema.Draft202012Validator.check_schema(SCHEMA)

    def test_the_projects_definitions_are_valid(self):
        files = [file for folder in ("examples", "tests/data")
                 for file in (ROOT / folder).rglob("*.json")]
        self.assertGreater(len(files), 8)
        for file in files:
            self.assertEqual(self.faults(json.loads(file.read_text())), [], file)

    def test_input_parameters_need_nothing(self):
        tag = {"dts_name": "t", "dts_input_kids": [{"dts_name": "i", "dts_type": "leaf"}]}
        self.assertEqual(self.faults([{"dc_name": "c", "dc_tag": tag}]), [])

    def test_each_mistake_is_found(self):
        cases = [([{"dc_name": "c", "dc_tag": tag}], word) for tag, word in BAD_TAGS]
        for definitions, word in cases + BAD_FILES:
            faults = self.faults(definitions)
            self.assertTrue(faults, definitions)
            self.assertIn(word, " ".join(faults))


if __name__ == "__main__":
    unittest.main()
