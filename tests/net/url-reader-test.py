"""Compares the library's results for generated texts in URLs and forms with Python's urllib.

Usage: url-reader-test.py [LAUNCHER] PROGRAM    (GeneratedURLTexts.cpp describes the output of PROGRAM)

The two differ where the contract of the library demands it:

- urlEscape writes hexadecimal digits in lower case, and so do forms by default, because callers compare and sign such
  texts. urllib writes upper case.
- Half a surrogate pair becomes U+FFFD, in escaped and unescaped texts, as in every conversion to UTF-8. urllib refuses
  to escape it, and keeps it when it unescapes.
- Of escaped bytes that are not UTF-8 each becomes one U+FFFD. urllib writes one for all bytes that begin one character.
- An empty piece of a query is the empty name with the empty value. urllib leaves it out.
- A name without "=" or without a value is kept. urllib leaves it out, unless it is told to keep it.
- If a name repeats, the last value is used. urllib keeps all pairs.

Each of these differences must occur in the texts, so that the list stays correct.
"""
import codecs
import collections
import re
import subprocess
import sys
import unittest
from urllib.parse import parse_qsl, quote, quote_plus, unquote, unquote_plus, urlencode

INPUTS = 1000


def replace_each_byte(error):
    return "\uFFFD" * (error.end - error.start), error.end


codecs.register_error("each-byte", replace_each_byte)


def without_surrogates(text):
    return re.sub("[\uD800-\uDFFF]", "\uFFFD", text)


def with_lower_case_digits(escaped):
    return re.sub("%[0-9A-F]{2}", lambda found: found[0].lower(), escaped)


def in_order(names):
    """In the order of characters; for Windows (with a launcher), of their UTF-16 units."""
    if len(PROGRAM) > 1:
        return sorted(names.items(), key=lambda item: item[0].encode("utf-16-be", "surrogatepass"))
    return sorted(names.items())


def pairs_of(values):
    return list(zip(values[::2], values[1::2]))


def read_lines(program):
    output = subprocess.run(program, check=True, stdout=subprocess.PIPE).stdout.decode("ascii")
    lines = collections.defaultdict(list)
    for line in output.splitlines():
        word, *values = line.split(" ")
        lines[word].append([bytes.fromhex(value).decode("utf-8", "surrogatepass") for value in values])
    return lines


class URLReader(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.lines = read_lines(PROGRAM)

    def setUp(self):
        self.differences = collections.Counter()

    def note(self, difference, ours, theirs):
        self.differences[difference] += ours != theirs

    def check_differences(self, *expected):
        self.assertEqual(set(+self.differences), set(expected))

    def inputs(self, word):
        self.assertEqual(len(self.lines[word]), INPUTS)
        return self.lines[word]

    def test_escape(self):
        for given, escaped, escaped_plus, form_lower, form_upper, _, _ in self.inputs("text"):
            with self.subTest(text=ascii(given)):
                text = without_surrogates(given)
                self.note("surrogates", text, given)
                self.note("lower case", escaped, quote(text, safe=""))
                self.assertEqual(escaped, with_lower_case_digits(quote(text, safe="")))
                self.assertEqual(escaped_plus, with_lower_case_digits(quote_plus(text, safe="")))
                self.assertEqual(form_lower, with_lower_case_digits(quote_plus(text, safe="")))
                self.assertEqual(form_upper, quote_plus(text, safe=""))
        self.check_differences("surrogates", "lower case")

    def test_what_is_escaped_is_read_as_it_was(self):
        for given, escaped, escaped_plus, form_lower, form_upper, _, _ in self.inputs("text"):
            with self.subTest(text=ascii(given)):
                text = without_surrogates(given)
                self.assertEqual(unquote(escaped, errors="strict"), text)
                for form in (escaped_plus, form_lower, form_upper):
                    self.assertEqual(unquote_plus(form, errors="strict"), text)

    def test_unescape(self):
        for given, _, _, _, _, unescaped, unescaped_plus in self.inputs("text"):
            with self.subTest(text=ascii(given)):
                text = without_surrogates(given)
                self.note("surrogates", text, given)
                self.note("each byte", unescaped, unquote(text))
                self.assertEqual(unescaped, unquote(text, errors="each-byte"))
                self.assertEqual(unescaped_plus, unquote_plus(text, errors="each-byte"))
        self.check_differences("surrogates", "each byte")

    def test_encode_params(self):
        for given, encoded in zip(self.inputs("params"), self.inputs("encoded")):
            with self.subTest(params=ascii(given)):
                # The names are sorted by their characters before any of these is replaced.
                params = [(without_surrogates(name), without_surrogates(value))
                          for name, value in in_order(dict(pairs_of(given)))]
                query, form_lower, form_upper, props_lower, props_upper = encoded
                theirs = urlencode(params)
                self.note("surrogates", params, in_order(dict(pairs_of(given))))
                self.note("lower case", query, theirs)
                for lower in (query, form_lower, props_lower):
                    self.assertEqual(lower, with_lower_case_digits(theirs))
                for upper in (form_upper, props_upper):
                    self.assertEqual(upper, theirs)
                for form in (query, form_lower, form_upper):
                    self.assertEqual(parse_qsl(form, keep_blank_values=True, errors="strict"), params)
        self.check_differences("surrogates", "lower case")

    def test_decode_params(self):
        for given, *decoded in self.inputs("query"):
            with self.subTest(query=ascii(given)):
                query = without_surrogates(given)
                pairs = []
                for piece in query.split("&") if query else ():
                    pairs += parse_qsl(piece, keep_blank_values=True, errors="each-byte") or [("", "")]
                self.assertEqual(pairs_of(decoded), in_order(dict(pairs)))
                kept = parse_qsl(query, keep_blank_values=True, errors="each-byte")
                self.note("surrogates", query, given)
                self.note("each byte", kept, parse_qsl(query, keep_blank_values=True))
                self.note("empty pieces", pairs, kept)
                self.note("empty values", kept, parse_qsl(query, errors="each-byte"))
                self.note("last one counts", len(dict(pairs)), len(pairs))
        self.check_differences("surrogates", "each byte", "empty pieces", "empty values", "last one counts")


if __name__ == "__main__":
    PROGRAM = sys.argv[1:]
    del sys.argv[1:]
    unittest.main()
