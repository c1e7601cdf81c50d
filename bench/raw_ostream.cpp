// The writing workloads with LLVM's raw_ostream.
#include <llvm/Support/Format.h>
#include <llvm/Support/raw_ostream.h>

#include "workload.h"

namespace bench {

namespace {

// Uses the area as its buffer, and reuses it when it is full.
class Writer : public llvm::raw_ostream {
 public:
  explicit Writer(Area& area) : area_(area) {
    SetBuffer(area.begin, area.size);
  }
  ~Writer() override { flush(); }

 private:
  void write_impl(const char*, size_t n) override { area_.used = n; }
  uint64_t current_pos() const override { return 0; }

  Area& area_;
};

llvm::StringRef view(const Slice& slice) { return {slice.begin, slice.size}; }

void write_ints(const Input& in, Area& area) {
  Writer out(area);
  for (size_t i = 0; i < in.items; ++i) out << static_cast<int>(in.longs[i]);
}

void write_longs(const Input& in, Area& area) {
  Writer out(area);
  for (size_t i = 0; i < in.items; ++i) out << in.longs[i];
}

void write_hex(const Input& in, Area& area) {
  Writer out(area);
  for (size_t i = 0; i < in.items; ++i) {
    out.write_hex(static_cast<unsigned long>(in.longs[i]));
  }
}

const char* format(const Input& in) {
  switch (in.notation) {
    case Notation::fixed:
      return "%.*f";
    case Notation::scientific:
      return "%.*e";
    default:
      return "%.*g";
  }
}

void write_floats(const Input& in, Area& area) {
  Writer out(area);
  for (size_t i = 0; i < in.items; ++i) {
    out << llvm::format(format(in), in.precision,
                        static_cast<double>(static_cast<float>(in.doubles[i])));
  }
}

void write_doubles(const Input& in, Area& area) {
  Writer out(area);
  for (size_t i = 0; i < in.items; ++i) {
    out << llvm::format(format(in), in.precision, in.doubles[i]);
  }
}

void pad_texts(const Input& in, Area& area) {
  Writer out(area);
  for (size_t i = 0; i < in.items; ++i) {
    out << llvm::right_justify(view(in.slices[i]), text_width);
  }
}

void write_blocks(const Input& in, Area& area) {
  Writer out(area);
  for (size_t i = 0; i < in.items; ++i) {
    out.write(in.text + i * write_block, write_block);
  }
}

void write_characters(const Input& in, Area& area) {
  Writer out(area);
  for (size_t i = 0; i < in.size; ++i) out.write(in.text + i, 1);
}

void put_characters(const Input& in, Area& area) {
  Writer out(area);
  for (size_t i = 0; i < in.size; ++i) out << in.text[i];
}

void report_lines(const Input& in, Area& area) {
  Writer out(area);
  for (size_t i = 0; i < in.items; ++i) {
    out << llvm::left_justify(view(in.slices[2 * i]), text_width)
        << llvm::right_justify(view(in.slices[2 * i + 1]), text_width) << ' '
        << static_cast<int>(in.longs[i]) << ' '
        << llvm::format("%.*g", in.precision, in.doubles[i]) << '\n';
  }
}

}  // namespace

Passes raw_ostream_passes(Workload workload) {
  switch (workload) {
    case Workload::write_ints:
      return {write_ints, write_ints};
    case Workload::write_longs:
      return {write_longs, write_longs};
    case Workload::write_hex:
      return {write_hex, write_hex};
    case Workload::write_floats:
      return {write_floats, write_floats};
    case Workload::write_doubles:
      return {write_doubles, write_doubles};
    case Workload::pad_texts:
      return {pad_texts, pad_texts};
    case Workload::write_blocks:
      return {write_blocks, write_blocks};
    case Workload::write_characters:
      return {write_characters, write_characters};
    case Workload::put_characters:
      return {put_characters, put_characters};
    case Workload::report_lines:
      return {report_lines, report_lines};
    default:
      return {};
  }
}

}  // namespace bench
