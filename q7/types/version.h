// JXversion: a product's version and its host's version, three components each.
#pragma once

// Two version triples (major, minor, patch): the product's own (the jx version) and its
// host's. A component of -1 is unknown, written "x", and matches anything in comparisons.
// A value object: it owns no memory and may be copied freely; one object is used by one
// thread at a time.
//
// The full text is "V%s.%s.%s-%s.%s.%s" of the host and then the jx triple (host 5.2,
// jx 3.1.4: V5.2.x-3.1.4; a new object: Vx.x.x-x.x.x). The trimmed text
// (trim_version_string) shortens each triple to its major, then ".minor" when the minor
// is known, then ".patch" when both are (7.x.2 trims to 7).
class JXversion {
 public:
  // All six components unknown, text Vx.x.x-x.x.x, trimmed text empty.
  JXversion();
  virtual ~JXversion();

  // Reads both triples from a text such as V5.2-3.1.4: before the first hyphen the host
  // triple, after it the jx triple; without a hyphen the whole text is the jx triple and
  // the host triple becomes unknown. One leading "V" or "v" is skipped (on the host part
  // when there is a hyphen, else on the jx part). Each part is cut at its first two
  // periods; missing or empty components are unknown, malformed ones too (see
  // version_atoi), and further periods stay in the patch. A component too large for an
  // int is taken as 2147483647. Returns true; false for a null text or when no working
  // copy can be allocated, the object then unchanged.
  bool set_version(char* text);
  // Sets the jx triple (-1 for unknown) and rebuilds the text. Returns true.
  bool set_jx_version(int major, int minor, int patch);
  // Sets the host triple (-1 for unknown) and rebuilds the text. Returns true.
  bool set_host_version(int major, int minor, int patch);
  void get_jx_version(int& major, int& minor, int& patch);
  void get_host_version(int& major, int& minor, int& patch);

  // The full text, owned by the object and changed with it.
  char* get_version();
  // Copies the full text into `out`, which has room for 80 bytes. Returns `out`.
  char* get_version(char* out);
  // Builds the trimmed text (trim_version_string) and returns the object's copy of it,
  // which changes with the next call.
  char* get_trimmed_version(int which);
  // The same, copied into `out` (room for 80 bytes). Returns `out`.
  char* get_trimmed_version(char* out, int which);
  // Builds the trimmed text: `which` 1 gives "V", host, "-", jx (V5.2-3.1.4); 2 gives
  // "V", jx (V3.1.4); 3 gives "V", host, "-" (V5.2-, the hyphen marking a host version
  // for set_version); any other value "V" alone.
  void trim_version_string(int which);
  // Rebuilds the full text from the six components.
  void format_text_version();

  // Writes "x" for -1, else "%d" of `value`, into `out` (room for 12 bytes); nothing for a
  // null `out`.
  static void version_string(char* out, int value);
  // One component's value: -1 for "x" or "X" alone and for any text holding a character
  // other than a decimal digit (a sign, a blank, a letter); 0 for an empty text; else the
  // decimal value, 2147483647 when larger. A null text gives -1.
  static int version_atoi(char* text);

  // Compares the host triples when `host` is true, else the jx triples. At major and
  // minor, the first known pair that differs decides (this < other); unknown components
  // are passed over. At patch, an unknown component gives true; otherwise this <= other
  // with `or_equal`, this < other without. So versions differing only in unknown
  // components are both before and after each other.
  bool before(JXversion other, bool host, bool or_equal);
  // The same with > and >=.
  bool after(JXversion other, bool host, bool or_equal);

  char text[80];
  char trimmed[80];
  int jx_version[3];
  int host_version[3];
};
