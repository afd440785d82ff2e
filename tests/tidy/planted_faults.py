"""Shows that each rule of rules.py finds the fault that it is for, and nothing in a clean tree."""

import tempfile
import unittest
from pathlib import Path

import rules

CLEAN = {
    "README.md": "A project.\n",
    "catalogue/README.md": "The list.\n",
    "catalogue/SystemPolicyTables.def": 'LOAM_TABLE(FooEntry, "foo", "entries", 0x0401, 20)\n',
    "platform/README.md": "The platform.\n",
    "platform/Ombra/Node.h": "#pragma once\n\n#include <Pallet/SlabAlloc.h>\n",
    "platform/Pallet/SlabAlloc.h": "#pragma once\n\n#include <Ombra/Export.h>\n",
    "apps/README.md": "The programs.\n",
    "apps/hw/Backend.h": "#pragma once\n\n#include <LoamSystemAcl/FooEntryLogTypes.h>\n",
}


class PlantedFaults(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)
        for name, text in CLEAN.items():
            self.write(name, text)

    def write(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def expect(self, rule, count=1):
        self.assertEqual(len(list(rule(self.root))), count)

    def test_clean_tree_has_no_fault(self):
        for rule in rules.RULES:
            self.assertEqual(list(rule(self.root)), [], rule.__name__)

    def test_lower_folder_that_includes_a_higher_one(self):
        self.write("platform/Ombra/Node.h", "#pragma once\n#include <Zet/Log.h>\n")
        self.expect(rules.includes_run_one_way)

    def test_hardware_side_that_includes_a_table(self):
        self.write("apps/hw/Backend.h", "#pragma once\n#include <LoamSystemAcl/FooEntrySwTable.h>\n")
        self.expect(rules.includes_run_one_way)

    def test_algorithm_that_includes_the_catalogue(self):
        self.write("OrderedTable/README.md", "The algorithms.\n")
        self.write("OrderedTable/A.h", "#pragma once\n#include <catalogue/Catalogue.h>\n")
        self.expect(rules.includes_run_one_way)

    def test_table_that_includes_a_program(self):
        self.write("LoamSystemAcl/README.md", "The family.\n")
        self.write("LoamSystemAcl/XxxA.cpp", "#include <apps/hw/Backend.h>\n")
        self.expect(rules.includes_run_one_way)

    def test_quoted_include(self):
        self.write("platform/Ombra/Ptr.h", '#pragma once\n#include "Node.h"\n')
        self.expect(rules.our_headers_are_included_from_an_include_root)

    def test_header_without_pragma_once(self):
        self.write("platform/Ombra/Ptr.h", "namespace Ombra {}\n")
        self.expect(rules.every_header_has_pragma_once)

    def test_folder_without_readme(self):
        (self.root / "apps/README.md").unlink()
        self.expect(rules.every_top_level_folder_has_a_readme)

    def test_table_named_with_its_identifier(self):
        self.write("apps/hw/B.cpp", "case 0x08080401: return FooEntry;\n")
        self.expect(rules.only_the_catalogue_names_a_table_with_its_identifier)

    def test_catalogue_that_is_not_understood(self):
        self.write("catalogue/SystemPolicyTables.def", "LOAM_TABEL(FooEntry)\n")
        self.expect(rules.only_the_catalogue_names_a_table_with_its_identifier)

    def test_note_to_do(self):
        self.write("apps/hw/B.cpp", "// TO" "DO: later\n")
        self.expect(rules.no_note_to_do_something_later)

    def test_threat_without_its_test(self):
        self.write("tests/platform/ATest.cpp", "TEST(Planted, Link) {}\n")
        self.write("docs/security.md", "`Planted.Link` and `Planted.Pipe` and `A.h`\n")
        self.expect(rules.every_test_that_a_threat_names_exists)

    def test_unclean_text(self):
        self.write("README.md", "A \n\tproject.")
        self.expect(rules.text_is_clean, 3)


if __name__ == "__main__":
    unittest.main()
