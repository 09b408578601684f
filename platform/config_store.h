// The router's configuration store. On a router the firmware's own library
// provides these symbols; elsewhere the built-in file-backed store does.
//
// Built-in store: the text file named by the environment variable
// CONFIG_STORE (default /tmp/config.store), one "name=value" line per key.
// The name is the text before the first '='; lines without '=' are ignored
// (and kept untouched when the file is rewritten); when a name appears on
// several lines the last one wins. Values up to 64 KiB and names up to
// 1 KiB; longer lines, lines holding NUL bytes and anything beyond the first
// 8 MiB of the file are ignored when reading.
//
// Escaping: a value is stored byte for byte unless it holds a newline, a
// carriage return or a backslash; those are written as the two-character
// sequences \n, \r and \\ and decoded on read. Any other backslash sequence
// in a hand-edited file reads back literally.
//
// Writers (config_set, config_unset) take an flock on "<store>.lock", re-read
// the file under it, write a temporary file in the same directory and rename
// it over the store, so concurrent writers in different processes never lose
// each other's keys and readers never see a half-written file.
//
// Not for use from several threads at once without outside locking on a
// firmware store; the built-in store serialises its own calls.

#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// Value of name, "" when absent or when name is null. The text must not be
// modified and stays valid until the process exits, whatever is set later:
// the built-in store keeps each distinct value once in a per-process pool.
// The file is re-read only when it changed (inode, size or times differ), so
// a value written meanwhile by another process or by the `config` tool is
// seen, while repeated reads of an unchanged store cost one stat.
char* config_get(const char* name);
// 0 on success, -1 on failure (null or empty name, a name holding '=', a
// newline or a carriage return, a value over 64 KiB, or an I/O error).
// A null value is stored as "".
int config_set(const char* name, const char* value);
// 0 on success (also when the key was absent), -1 on failure.
int config_unset(const char* name);
// 1 when the value of name equals value exactly, else 0 (null value: "").
int config_match(const char* name, const char* value);
// 1 when the value of name differs from value, else 0.
int config_invmatch(const char* name, const char* value);
// Makes earlier changes persistent. The built-in store already writes every
// change through; this only syncs the directory. 0 on success, -1 on failure.
int config_commit(void);

#ifdef __cplusplus
}
#endif
