#pragma once
// Published properties of one class as a table: each row knows its stream path, when it is
// stored, how to write its value and how to take a read value back. Nested parts (pens,
// fonts, the snap grid...) are tables of their own, spliced in under a path prefix, so a
// part is described once wherever it is used.
#include <QHash>
#include <functional>
#include <optional>
#include <vector>

#include "KvDiagramTypes.h"
#include "KvObjectStream.h"

class TDiagramControl;

// What a read needs beyond the value: references are fixed up once the whole stream is in.
struct TKvReadContext {
  std::vector<std::pair<QString, std::function<void(TDiagramControl*)>>> Fixups;
  void Reference(const TKvValue& v, std::function<void(TDiagramControl*)> set) {
    if (v.Type == vaNil) return set(nullptr);
    Fixups.emplace_back(v.AsIdent(), std::move(set));
  }
};

// Names of an enumeration's values, in stored order.
using TKvEnumNames = std::vector<const char*>;

int KvEnumIndex(const TKvEnumNames& names, const TKvValue& v);
std::vector<QByteArray> KvSetMembers(const TKvEnumNames& names, uint64_t bits);
uint64_t KvSetBits(const TKvEnumNames& names, const TKvValue& v);
// Colour and cursor constants: the name when there is one, else the number.
void KvWriteColor(TKvBinaryWriter& w, TColor c);
TColor KvReadColor(const TKvValue& v);
void KvWriteCursor(TKvBinaryWriter& w, Qt::CursorShape c);
Qt::CursorShape KvReadCursor(const TKvValue& v);

template <typename T>
class TKvPropTable {
 public:
  using Stored = std::function<bool(const T&)>;
  using WriteFn = std::function<void(const T&, TKvBinaryWriter&, const QByteArray& path)>;
  using ReadFn = std::function<void(T&, const TKvValue&, TKvReadContext&)>;
  struct Row {
    QByteArray Path;
    WriteFn Write;
    ReadFn Read;
  };

  void Add(const QByteArray& path, WriteFn write, ReadFn read) {
    FIndex.insert(path, int(FRows.size()));
    FRows.push_back({path, std::move(write), std::move(read)});
  }
  // A property read but never written (kept for files that carry it).
  void Ignored(const QByteArray& path) {
    Add(
        path, [](const T&, TKvBinaryWriter&, const QByteArray&) {},
        [](T&, const TKvValue&, TKvReadContext&) {});
  }

  template <typename G, typename S>
  void Bool(const QByteArray& path, G get, S set, std::optional<bool> def = {}, Stored st = {}) {
    Add(
        path,
        [=](const T& o, TKvBinaryWriter& w, const QByteArray& p) {
          const bool v = get(o);
          if ((st && !st(o)) || (def && v == *def)) return;
          w.WritePropName(p);
          w.WriteBoolean(v);
        },
        [=](T& o, const TKvValue& v, TKvReadContext&) { set(o, v.AsBoolean()); });
  }
  template <typename G, typename S>
  void Int(const QByteArray& path, G get, S set, std::optional<int64_t> def = {}, Stored st = {}) {
    Add(
        path,
        [=](const T& o, TKvBinaryWriter& w, const QByteArray& p) {
          const int64_t v = get(o);
          if ((st && !st(o)) || (def && v == *def)) return;
          w.WritePropName(p);
          w.WriteInteger(v);
        },
        [=](T& o, const TKvValue& v, TKvReadContext&) { set(o, v.AsInteger()); });
  }
  // Reals are stored unless they equal def (0 unless said otherwise; none: always stored).
  template <typename G, typename S>
  void Real(const QByteArray& path, G get, S set, std::optional<double> def = 0.0, Stored st = {}) {
    Add(
        path,
        [=](const T& o, TKvBinaryWriter& w, const QByteArray& p) {
          const double v = get(o);
          if ((st && !st(o)) || (def && v == *def)) return;
          w.WritePropName(p);
          w.WriteReal(v);
        },
        [=](T& o, const TKvValue& v, TKvReadContext&) { set(o, v.AsReal()); });
  }
  // Strings are stored unless empty.
  template <typename G, typename S>
  void Str(const QByteArray& path, G get, S set, Stored st = {}) {
    Add(
        path,
        [=](const T& o, TKvBinaryWriter& w, const QByteArray& p) {
          const QString v = get(o);
          if ((st && !st(o)) || v.isEmpty()) return;
          w.WritePropName(p);
          w.WriteString(v);
        },
        [=](T& o, const TKvValue& v, TKvReadContext&) { set(o, v.AsString()); });
  }
  template <typename G, typename S>
  void Enum(const QByteArray& path, const TKvEnumNames& names, G get, S set,
            std::optional<int> def = {}, Stored st = {}) {
    Add(
        path,
        [=](const T& o, TKvBinaryWriter& w, const QByteArray& p) {
          const int v = int(get(o));
          if ((st && !st(o)) || (def && v == *def) || v < 0 || v >= int(names.size())) return;
          w.WritePropName(p);
          w.WriteIdent(names[v]);
        },
        [=](T& o, const TKvValue& v, TKvReadContext&) { set(o, KvEnumIndex(names, v)); });
  }
  template <typename G, typename S>
  void Set(const QByteArray& path, const TKvEnumNames& names, G get, S set,
           std::optional<uint64_t> def = {}, Stored st = {}) {
    Add(
        path,
        [=](const T& o, TKvBinaryWriter& w, const QByteArray& p) {
          const uint64_t v = get(o);
          if ((st && !st(o)) || (def && v == *def)) return;
          w.WritePropName(p);
          w.WriteSet(KvSetMembers(names, v));
        },
        [=](T& o, const TKvValue& v, TKvReadContext&) { set(o, KvSetBits(names, v)); });
  }
  template <typename G, typename S>
  void Color(const QByteArray& path, G get, S set, std::optional<TColor> def = {}, Stored st = {}) {
    Add(
        path,
        [=](const T& o, TKvBinaryWriter& w, const QByteArray& p) {
          const TColor v = get(o);
          if ((st && !st(o)) || (def && v == *def)) return;
          w.WritePropName(p);
          KvWriteColor(w, v);
        },
        [=](T& o, const TKvValue& v, TKvReadContext&) { set(o, KvReadColor(v)); });
  }
  template <typename G, typename S>
  void Cursor(const QByteArray& path, G get, S set, Qt::CursorShape def) {
    Add(
        path,
        [=](const T& o, TKvBinaryWriter& w, const QByteArray& p) {
          const Qt::CursorShape v = get(o);
          if (v == def) return;
          w.WritePropName(p);
          KvWriteCursor(w, v);
        },
        [=](T& o, const TKvValue& v, TKvReadContext&) { set(o, KvReadCursor(v)); });
  }
  // Binary data, stored when write answers true.
  template <typename G, typename S>
  void Binary(const QByteArray& path, G get, S set) {
    Add(
        path,
        [=](const T& o, TKvBinaryWriter& w, const QByteArray& p) {
          QByteArray bytes;
          if (!get(o, bytes)) return;
          w.WritePropName(p);
          w.WriteBinary(bytes);
        },
        [=](T& o, const TKvValue& v, TKvReadContext&) {
          if (v.Type != vaBinary) throw EKvReadError(SInvalidPropertyValue);
          set(o, v.Bytes);
        });
  }
  // A nested part: its rows under "prefix.", reached through part().
  template <typename P, typename A>
  void Nested(const QByteArray& prefix, const TKvPropTable<P>& sub, A part, Stored st = {}) {
    for (const auto& row : sub.Rows()) {
      auto write = row.Write;
      auto read = row.Read;
      Add(
          prefix + '.' + row.Path,
          [=](const T& o, TKvBinaryWriter& w, const QByteArray& p) {
            if (st && !st(o)) return;
            write(part(const_cast<T&>(o)), w, p);
          },
          [=](T& o, const TKvValue& v, TKvReadContext& ctx) { read(part(o), v, ctx); });
    }
  }

  void Write(const T& o, TKvBinaryWriter& w) const {
    for (const Row& r : FRows) r.Write(o, w, r.Path);
  }
  // False when the class has no such property.
  bool Read(T& o, const QByteArray& path, const TKvValue& v, TKvReadContext& ctx) const {
    auto it = FIndex.constFind(path);
    if (it == FIndex.constEnd()) return false;
    FRows[*it].Read(o, v, ctx);
    return true;
  }
  const std::vector<Row>& Rows() const { return FRows; }

 private:
  std::vector<Row> FRows;
  QHash<QByteArray, int> FIndex;
};

// A field read and written as it is.
template <typename T, typename V>
auto KvGet(V T::*field) {
  return [field](const T& o) { return o.*field; };
}
template <typename T, typename V>
auto KvSet(V T::*field) {
  return [field](T& o, auto v) { o.*field = static_cast<V>(v); };
}
