"""mutations.py over single lines and small texts."""

import unittest

from mutations import mutations_of


def edits(text, kind=None):
    """What the edited line reads in each mutation, without the blanks around it."""
    return [mutation.new.strip() for mutation in mutations_of(text)
            if kind in (None, mutation.kind)]


class Mutations(unittest.TestCase):
    def test_a_comparison_becomes_another(self):
        self.assertEqual(edits("  if (a < b) {", "comparison"), ["if (a <= b) {", "if (a >= b) {"])
        self.assertEqual(edits("  return a == b;"), ["return a != b;"])

    def test_a_condition_is_turned_round(self):
        self.assertEqual(edits("  if (ready) {"), ["if (!(ready)) {"])

    def test_a_number_is_off_by_one(self):
        self.assertEqual(edits("  take(5);", "constant"), ["take(6);", "take(4);"])
        self.assertEqual(edits("  take(0);", "constant"), ["take(1);"])

    def test_a_result_becomes_another(self):
        self.assertEqual(edits("  return kOutOfMemory;"), ["return kFail;", "return kOk;"])

    def test_calls_locks_stores_and_records_are_dropped(self):
        for line, kind in (("  release(block);", "call"), ("  (void)stop.Signal();", "call"),
                           ("  base::ScopedLock lock(lock_);", "lock"), ("  *out = nullptr;", "store"),
                           ("ListRecord list{kName, &kList};", "record"),
                           ("base::UnloadRecord pse{bound.pse};", "record"), ("Record plain;", "record")):
            self.assertEqual(edits(line, kind), [""], line)

    def test_a_declaration_is_no_record(self):
        for line in ("  Record member{1};", "using Text = Block;", "class Thing;", "enum class E {};",
                     "return result;", "struct Thing;"):
            self.assertEqual(edits(line, "record"), [], line)

    def test_an_entry_takes_the_value_of_the_one_before_it(self):
        table = "const List kList = {\n    .A = first,\n    .B = second<int, 3>,\n    .C = third};"
        self.assertEqual(edits(table, "entry"), [".B = first,", ".C = second<int, 3>"])

    def test_a_letter_of_a_text_changes(self):
        self.assertEqual(edits('  trace("%s of it");'), ["", 'trace("%s xf it");'])

    def test_what_stands_in_texts_and_comments_stays(self):
        self.assertEqual(edits('  // if (a == b) {'), [])
        self.assertEqual(edits('  take("a == 5");', "comparison") + edits('  take("5");', "constant"), [])

    def test_checks_and_identifiers_of_interfaces_stay(self):
        self.assertEqual(edits("static_assert(sizeof(A) ==\n              5);"), [])
        self.assertEqual(edits("    0x0000AB12, 0x1234, 0x5678, {1}};"), [])

    def test_lines_are_counted_from_the_top(self):
        self.assertEqual([m.line for m in mutations_of("\n\n  release(block);\n")], [2])


if __name__ == "__main__":
    unittest.main()
