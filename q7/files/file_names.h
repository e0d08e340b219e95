// Path names as text: components, extensions, joining, cleaning, image-sequence names.
#pragma once

// Paths are NUL-terminated byte strings whose only separator is "/". Nothing here touches
// the file system or resolves ".", ".." or doubled slashes, and nothing reports through
// the message log: a null or -1 result is the only failure signal.
//
// The process-wide path buffer. file_name_concat, file_name_component and
// file_name_before_lastcomponent build their results in it, and so do the standard
// directories and the settings variables: a result there holds only until the next such
// call, and is not locked, so one thread at a time uses it. Results are cut at 4095
// characters to fit. A path argument may itself lie in `temp_path` (a result of the
// previous call passed straight back).
extern char temp_path[4096];

// The last component of `path`: the text after its last slash, or the whole path when it
// has none. A path ending in a slash gives the empty text at its end ("dir/" gives "");
// an empty path gives itself; a null path gives null.
// Returns a pointer into `path`.
char* file_name_lastcomponent(char* path);

// The extension of `name`: the text after its last dot, or a static, never-changing empty
// text when it has none (also for a null name), so the result is never null. The search
// does not stop at a slash: "archive.d/readme" gives "d/readme". A name ending in a dot
// gives the empty text at its end.
// Returns a pointer into `name`, or the static empty text.
char* file_name_extension(char* name);

// The part of `path` before its last component, without the slash that ends it:
// "/usr/local/bin" gives "/usr/local", "a//b" gives "a/", "a/b/" gives "a/b", and "/file",
// "name", the empty path and a null path give the empty text. When `out` is not null the
// result is also copied there; it must hold 4096 bytes.
// Returns `temp_path`: a static buffer that the next call overwrites. Not reentrant.
char* file_name_before_lastcomponent(char* path, char* out);

// Component `index` of `path`, counting from 0. A leading slash belongs to component 0:
// of "/usr/local/bin" component 0 is "/usr", 1 is "local" and 2 is "bin" (and of "//a"
// component 0 is "/"). A doubled slash holds an empty component: of "a//b" component 1 is
// "" and 2 is "b". When `out` is not null the result is also copied there; it must hold
// 4096 bytes.
// Returns `temp_path`: a static buffer that the next call overwrites; null when there is
// no such component ("/" has none, "a/b" has no component 2), the path is null or the
// index negative, and `out` is then not written. Not reentrant.
char* file_name_component(char* path, int index, char* out);

// Appends `component` to `path` in place, with one slash between them when the path is
// not empty (a path already ending in a slash gets a second one). The caller's buffer
// must hold the result; nothing checks its length. A null component leaves the path as
// it was; a null path gives null.
// Returns a pointer into `path`: the path itself.
char* file_name_add_component(char* path, char* component);

// Joins `directory` and `name` with one slash between them ("%s%s%s"). A null or empty
// directory gives the name alone; a trailing slash on the directory is kept ("dir/" and
// "x" give "dir//x"). A null name counts as empty.
// Returns `temp_path`: a static buffer that the next call overwrites. Not reentrant.
char* file_name_concat(char* directory, char* name);

// Replaces, in place, every white-space character of `name` (isspace) with
// `space_replacement` and then every slash with `slash_replacement`, each stored as one
// byte; a replacement of 0 switches that replacement off. The slash test sees the
// character as the first replacement left it, so white space replaced by "/" becomes the
// slash replacement too. "my file/x" with '_' and '-' gives "my_file-x". A null name is
// left alone.
void file_name_clean(char* name, int space_replacement, int slash_replacement);

// Splits the final component of an image-sequence name into base, frame digits and
// extension: "/images/shot0042.tif" gives base "shot", digits "0042" and extension ".tif"
// (with its dot), and returns 4. The frame digits are the decimal digits right before the
// last dot of the final component; a dot in a directory name does not count, and the
// directory part is copied nowhere. "shot.tif" gives 0 digits, "0001.tif" an empty base,
// "img.0001.tif" the base "img." and "a.b.tif" the base "a.b".
//
// `base` and `extension` are required and `digits` may be null; each is set to the empty
// text first and must hold the final component. Returns the number of digits (0 or more),
// or -1 when the name, `base` or `extension` is null (nothing is written then), or when
// the name is empty, or the final component has no dot or its last dot is its first
// character (".tif", "shot" and "dir.x/shot" give -1). The outputs must not overlap the
// name.
int file_name_parse_image_file_name(char* name, char* base, char* extension, char* digits);

// Builds an image-sequence name into `out`: base, the frame number printed with at least
// `width` digits (zeros in front, a minus sign before them), a dot and the extension. An
// extension beginning with a dot loses that one dot, so the parse's extension can be
// passed straight back. Base "shot", extension ".tif", frame 43 and width 4 give
// "shot0043.tif"; frame 12345 gives "shot12345.tif". A width of 0 or less leaves the
// number out altogether: "shot.tif". The format is built from "%%s%%%d.%dd.%%s" with the
// width filled in twice ("%s%4.4d.%s" for width 4), or is "%s.%s" without a width.
//
// `out` must hold the result and must not overlap `base` or `extension`; nothing checks
// its length. Returns the number of characters written, or -1 when `base`, `extension` or
// `out` is null (nothing is written then).
int file_name_format_image_file_name(char* base, char* extension, int frame, int width, char* out);
