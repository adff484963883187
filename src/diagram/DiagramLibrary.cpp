#include "DiagramLibrary.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "KvDiagram_Filer.h"

namespace {

const char* const SBaseFolder = "Base folder not specified in library filer component.";
const char* const SEmptyCaption = "Item caption cannot be empty.";
const char* const SNoFiler = "Filer object not specified for diagram library manager.";

const TKvPropTable<TDgrLibraryItem>& ItemProps() {
  using I = TDgrLibraryItem;
  static const TKvPropTable<I> t = [] {
    TKvPropTable<I> t;
    t.Str("ItemName", KvGet(&I::ItemName), KvSet(&I::ItemName));
    t.Str("Category", KvGet(&I::Category), KvSet(&I::Category));
    t.Str("Caption", KvGet(&I::Caption), KvSet(&I::Caption));
    t.Binary(
        "Glyph.Data",
        [](const I& i, QByteArray& out) {
          if (i.Glyph.isNull()) return false;
          out = KvPictureData(i.Glyph);
          return true;
        },
        [](I& i, const QByteArray& d) { i.Glyph = KvPictureFromData(d); });
    t.Str("Data", KvGet(&I::Data), KvSet(&I::Data));
    return t;
  }();
  return t;
}

uint32_t LE32At(const QByteArray& b, qsizetype at) {
  if (at < 0 || b.size() < at + 4) throw EKvReadError(SInvalidImage);
  uint32_t v = 0;
  for (int i = 3; i >= 0; --i) v = (v << 8) | uint8_t(b[at + i]);
  return v;
}

void AppendLE(QByteArray& b, uint32_t v, int bytes) {
  for (int i = 0; i < bytes; ++i) b.append(char((v >> (8 * i)) & 0xFF));
}

// The object stream inside a component resource, short or full form.
QByteArray ResourceStream(const QByteArray& bytes) {
  if (bytes.size() >= 3 && uint8_t(bytes[0]) == 0xFF) {
    if (uint8_t(bytes[1]) != 10 || bytes[2] != 0) throw EKvReadError(SInvalidImage);
    const qsizetype nameEnd = bytes.indexOf('\0', 3);
    if (nameEnd < 0) throw EKvReadError(SInvalidImage);
    const uint32_t size = LE32At(bytes, nameEnd + 3);
    const qsizetype start = nameEnd + 7;
    if (size > uint32_t(bytes.size() - start)) throw EKvReadError(SInvalidImage);
    return bytes.mid(start, size);
  }
  static const QByteArray emptyResource =
      QByteArray::fromHex("0000000020000000ffff0000ffff0000000000000000000000000000000000000000");
  if (!bytes.startsWith(emptyResource.left(32))) throw EKvReadError(SInvalidImage);
  const uint32_t dataSize = LE32At(bytes, 32);
  const uint32_t headerSize = LE32At(bytes, 36);
  if (LE32At(bytes, 40) != 0x000AFFFF || headerSize < 16) throw EKvReadError(SInvalidImage);
  const qsizetype start = 32 + qsizetype(headerSize);
  if (start > bytes.size() || dataSize > uint32_t(bytes.size() - start))
    throw EKvReadError(SInvalidImage);
  return bytes.mid(start, dataSize);
}

bool IsIdentifier(const QString& s) {
  if (s.isEmpty() || s[0].isDigit()) return false;
  for (QChar c : s)
    if (!(c.unicode() < 128 && (c.isLetterOrNumber() || c == '_'))) return false;
  return true;
}

}  // namespace

// ---- items ----

void TDgrLibraryItem::Assign(const TDgrLibraryItem& source) {
  ItemName = source.ItemName;
  Category = source.Category;
  Caption = source.Caption;
  Glyph = source.Glyph;
  Data = source.Data;
}

QByteArray TDgrLibraryItem::ToResource() const {
  QByteArray stream;
  TKvBinaryWriter w(stream);
  w.WriteSignature();
  w.WriteObjectHeader("TDgrLibraryItem", objectName().toUtf8());
  ItemProps().Write(*this, w);
  w.WriteListEnd();
  w.WriteListEnd();
  QByteArray out;
  out.append(char(0xFF));
  AppendLE(out, 10, 2);
  out.append("TDGRLIBRARYITEM");
  out.append('\0');
  AppendLE(out, 0x1030, 2);
  AppendLE(out, uint32_t(stream.size()), 4);
  return out + stream;
}

void TDgrLibraryItem::FromResource(const QByteArray& bytes) {
  const TKvStreamObject o = KvReadObjectBinary(ResourceStream(bytes));
  if (o.ClassName != "TDgrLibraryItem")
    throw EKvClassNotFound("Class " + o.ClassName.toStdString() + " not found");
  TDgrLibraryItem read;
  TKvReadContext ctx;
  for (const TKvProperty& p : o.Props)
    if (!ItemProps().Read(read, p.Name, p.V(), ctx)) KvNoSuchProperty(p.Name);
  Assign(read);
}

TDgrLibraryItem* TDgrLibrary::Add() {
  Items.push_back(std::make_unique<TDgrLibraryItem>());
  Items.back()->Library = this;
  return Items.back().get();
}

// ---- folder filer ----

void TDgrLibraryFolderFiler::SetBaseFolder(QString folder) {
  while (folder.size() > 1 && (folder.endsWith('/') || folder.endsWith('\\'))) folder.chop(1);
  FBaseFolder = folder;
}

void TDgrLibraryFolderFiler::CheckBaseFolder() const {
  if (FBaseFolder.isEmpty()) throw EDiagramException(SBaseFolder);
}

QString TDgrLibraryFolderFiler::LibraryFolder(const TDgrLibrary& library) const {
  CheckBaseFolder();
  return FBaseFolder + '/' + LibraryPrefix + library.LibraryName;
}

QString TDgrLibraryFolderFiler::ItemFile(const TDgrLibraryItem& item) const {
  CheckBaseFolder();
  const QString folder = item.Library ? LibraryFolder(*item.Library) : FBaseFolder;
  return folder + '/' + item.ItemName + DefaultExt;
}

void TDgrLibraryFolderFiler::GetLibraryNames(QStringList& names) {
  CheckBaseFolder();
  names.clear();
  const QString prefix = QLatin1String(LibraryPrefix);
  for (const QString& dir : QDir(FBaseFolder).entryList(QDir::Dirs | QDir::NoDotAndDotDot))
    if (dir.startsWith(prefix, Qt::CaseInsensitive)) names << dir.mid(prefix.size());
}

bool TDgrLibraryFolderFiler::LoadItem(TDgrLibraryItem& item) {
  QFile f(ItemFile(item));
  if (!f.exists() || !f.open(QIODevice::ReadOnly)) return false;
  TDgrLibraryItem read;
  read.FromResource(f.readAll());
  read.ItemName = item.ItemName;
  item.Assign(read);
  return true;
}

bool TDgrLibraryFolderFiler::SaveItem(TDgrLibraryItem& item) {
  CheckBaseFolder();
  if (item.ItemName.isEmpty()) {
    if (item.Caption.isEmpty()) throw EDiagramException(SEmptyCaption);
    for (QChar c : item.Caption)
      if (IsIdentifier(item.ItemName + c)) item.ItemName += c;
  }
  QFile f(ItemFile(item));
  if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
    throw EDiagramException(QStringLiteral("Cannot create file \"%1\". %2")
                                .arg(f.fileName(), f.errorString())
                                .toStdString());
  f.write(item.ToResource());
  return true;
}

void TDgrLibraryFolderFiler::DeleteItem(TDgrLibraryItem& item) {
  QFile::remove(ItemFile(item));
}

void TDgrLibraryFolderFiler::LoadLibrary(TDgrLibrary& library) {
  library.Clear();
  const QDir dir(LibraryFolder(library));
  for (const QFileInfo& file : dir.entryInfoList({"*" + DefaultExt}, QDir::Files, QDir::Name)) {
    TDgrLibraryItem* item = library.Add();
    item->ItemName = file.completeBaseName();
    LoadItem(*item);
  }
}

void TDgrLibraryFolderFiler::CreateLibrary(TDgrLibrary& library) {
  QDir().mkpath(LibraryFolder(library));
}

void TDgrLibraryFolderFiler::DeleteLibrary(TDgrLibrary& library) {
  for (auto& item : library.Items) DeleteItem(*item);
  QDir().rmdir(LibraryFolder(library));
}

// ---- manager ----

TDgrLibraryFiler& TDgrLibraryManager::CheckedFiler() const {
  if (!Filer) throw EDiagramException(SNoFiler);
  return *Filer;
}

void TDgrLibraryManager::LoadLibraries() {
  TDgrLibraryFiler& filer = CheckedFiler();
  FLibs.clear();
  QStringList names;
  filer.GetLibraryNames(names);
  for (const QString& name : names) {
    FLibs.push_back(std::make_unique<TDgrLibrary>(name));
    filer.LoadLibrary(*FLibs.back());
  }
  for (auto& lib : FLibs)
    for (auto& item : lib->Items) RegisterItem(*item);
}

TDgrLibrary* TDgrLibraryManager::LibraryByName(const QString& name) const {
  for (auto& lib : FLibs)
    if (lib->LibraryName.compare(name, Qt::CaseInsensitive) == 0) return lib.get();
  return nullptr;
}

TDgrLibrary* TDgrLibraryManager::CreateLibrary(const QString& name) {
  TDgrLibraryFiler& filer = CheckedFiler();
  if (TDgrLibrary* lib = LibraryByName(name)) return lib;
  FLibs.push_back(std::make_unique<TDgrLibrary>(name));
  filer.CreateLibrary(*FLibs.back());
  return FLibs.back().get();
}

TDgrLibraryItem* TDgrLibraryManager::CreateItemDlg(TDiagramControl* control) {
  TDgrLibraryFiler& filer = CheckedFiler();
  if (!control || !control->Diagram()) return nullptr;
  TDgrLibrary* lib = FLibs.empty() ? CreateLibrary(QStringLiteral("Default")) : FLibs.front().get();
  auto item = std::make_unique<TDgrLibraryItem>();
  item->Library = lib;
  item->Data = QString::fromLatin1(control->Diagram()->ControlsToText({control}));
  if (!ItemDialog || !ItemDialog(*item)) return nullptr;
  lib->Items.push_back(std::move(item));
  TDgrLibraryItem* added = lib->Items.back().get();
  filer.SaveItem(*added);
  RegisterItem(*added);
  return added;
}

void TDgrLibraryManager::RegisterItem(const TDgrLibraryItem& item) {
  TRegDControl& row = RegDControls().Register(
      QStringLiteral("TDiagramBlock"), KvFindClass(QStringLiteral("TDiagramBlock")),
      "LIB_" + item.ItemName, item.Caption.isEmpty() ? item.ItemName : item.Caption, item.Category);
  row.FData = item.Data;
  row.FGlyph = item.Glyph;
  row.FUseGlyph = !item.Glyph.isNull();
}

// ---- controls from data ----

TDiagramControl* KvCreateControlFromData(TKvDiagram* target, const QString& id,
                                         const QString& data) {
  TStreamDiagram scratch(nullptr, target->Owner());
  const std::vector<TDiagramControl*> read =
      scratch.ReadStream(KvObjectTextToBinary(data.toLatin1()));
  if (read.empty()) return nullptr;
  TDiagramControl* c = read.front();
  while (c->GroupBlock()) c = c->GroupBlock();
  auto detach = [&](auto&& self, TDiagramControl* x) -> void {
    x->SetDiagram(nullptr);
    x->SetName(QString());
    if (auto* g = dynamic_cast<TBaseGroupBlock*>(x))
      for (TDiagramControl* m : g->Members().FItems) self(self, m);
  };
  detach(detach, c);
  c->SetDControlID(id);
  return c;
}
