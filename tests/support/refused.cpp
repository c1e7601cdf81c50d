// Uses that must not compile, one for each value of USE.
#include <nalo/istream>

#include <string>

struct hidden : private nalo::streambuf {};
void take(nalo::istream);
void take(nalo::ostream);
void take(nalo::iostream);

void use(nalo::istream& in, nalo::ostream& out, nalo::iostream& io, hidden& buf,
         std::wstring& std_string, nalo::wstring& nalo_string) {
#if USE == 1
  getline(in, std_string);
#elif USE == 2
  getline(in, nalo_string, L',', 3);
#elif USE == 3
  nalo::istream over(&buf);
#elif USE == 4
  nalo::ostream over(&buf);
#elif USE == 5
  nalo::iostream over(&buf);
#elif USE == 6
  take(in);
#elif USE == 7
  take(out);
#elif USE == 8
  take(io);
#endif
}
