"""What counts as giving something back outside a holder."""

import pathlib
import tempfile
import unittest

import check_releases


def called(text):
    return [function for _, function in check_releases.calls(text)]


class TestReleases(unittest.TestCase):
    def test_calls(self):
        for line, function in (("  freeBlock(text);", "freeBlock"),
                               ("  bound.root->Free(block);", "Free"),
                               ("  root().Free(block);", "Free"),
                               ("  if (object->Release() == 0) {", "Release"),
                               ("  return base::processFree(block);", "processFree"),
                               ("  bound.commonTypes->BufferRelease(out);", "BufferRelease"),
                               ("  ::CertCloseStore(store, 0);", "CertCloseStore"),
                               ("  gcry_sexp_release(key);", "gcry_sexp_release")):
            self.assertEqual([function], called(line), line)

    def test_declarations_and_others(self):
        for line in ("uint32_t Release() override {", "void processFree(void* block);",
                     "virtual uint32_t Release() = 0;", "HGLOBAL WINAPI GlobalFree(HGLOBAL block) {",
                     "// Free(block) gives it back", "  holder.release();", "  .Free = freeBlock,"):
            self.assertEqual([], called(line), line)

    def test_policies_may(self):
        self.assertEqual([], called("  static void release(HANDLE handle) { CloseHandle(handle); }"))
        self.assertEqual([], called("  void release(T* block) const {\n    root().Free(block);\n  }"))

    def test_far_behind_a_policy(self):
        text = "  static void release(HANDLE) {}\n" + "\n" * check_releases.LONGEST_POLICY
        self.assertEqual(["CloseHandle"], called(text + "  CloseHandle(event);"))

    def test_places(self):
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            for name in ("json/values.cpp", *check_releases.PLACES):
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                (root / name).write_text("  freeBlock(text);\n")
            self.assertEqual(["json/values.cpp:1: freeBlock outside a holder's policy"],
                             list(check_releases.problems(root)))
            (root / "json/values.cpp").write_text("")
            (root / "base/heap.cpp").write_text("")
            self.assertEqual(["base/heap.cpp releases nothing: it need not be named"],
                             list(check_releases.problems(root)))

    def test_nothing_there(self):
        with tempfile.TemporaryDirectory() as folder:
            self.assertIn("there are no sources", check_releases.problems(pathlib.Path(folder)))


if __name__ == "__main__":
    unittest.main()
