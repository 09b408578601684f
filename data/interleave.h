// Block interleaving of the credential files into their hidden form.
#pragma once

int interleave_file(const char* ifile, const char* ofile, int offset, int to_chaos);
void interleave_files();
