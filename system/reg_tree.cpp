// system/reg_tree.cpp: walking, exporting, deleting and importing subtrees
// through plat::Registry.
#include "system/reg_tree.h"

#include <algorithm>
#include <utility>

#include "system/registry_path.h"
#include "text/letter_case.h"

namespace sys {
namespace {

// Large enough for most values, so most are read in one call.
constexpr std::size_t kFirstBufferSize = 256;

bool IsMissing(plat::SysErr err) {
  return err == plat::kErrFileNotFound || err == plat::kErrPathNotFound;
}

std::u16string ValueWhere(std::u16string_view key, std::u16string_view name) {
  std::u16string out(key);
  out += name.empty() ? u" @" : u" \"";
  if (!name.empty()) out.append(name).append(u"\"");
  return out;
}

plat::SysErr Fail(RegStoreError* error, plat::SysErr code,
                  std::u16string where) {
  error->code = code;
  error->where = std::move(where);
  return code;
}

plat::SysErr SubkeyNames(plat::Key key, std::vector<std::u16string>* names) {
  for (std::uint32_t i = 0;; ++i) {
    std::u16string name;
    const plat::SysErr err = Registry().EnumKey(key, i, &name);
    if (err == plat::kErrNoMoreItems) return plat::kOk;
    if (err != plat::kOk) return err;
    names->push_back(std::move(name));
  }
}

// `sub` with each name in the case it is stored with, so that an export of
// "hkcu\software" names its keys as the registry does. A name that cannot
// be matched stays as given; opening the key decides whether it exists.
std::u16string StoredCase(plat::Key root, std::u16string_view sub) {
  std::u16string out;
  while (!sub.empty()) {
    const std::size_t end = std::min(sub.find(u'\\'), sub.size());
    std::u16string name(sub.substr(0, end));
    sub.remove_prefix(std::min(end + 1, sub.size()));
    ScopedKey parent;
    std::vector<std::u16string> names;
    if (Registry().OpenKey(root, out, plat::kKeyRead, parent.out()) ==
            plat::kOk &&
        SubkeyNames(parent.get(), &names) == plat::kOk) {
      for (const std::u16string& stored : names) {
        if (text::EqualAsciiNoCase(stored, name)) {
          name = stored;
          break;
        }
      }
    }
    out = ChildSub(out, name);
  }
  return out;
}

class Exporter final : public RegVisitor {
 public:
  Exporter(RegFormat format, RegExport* out) : writer_(format), out_(out) {}

  void Key(std::u16string_view path, std::size_t) override {
    key_.assign(path);
    if (!writer_.AddKey(path)) out_->lossy.push_back(key_);
  }
  void Value(std::u16string_view name, std::uint32_t type,
             std::span<const std::uint8_t> data) override {
    if (!writer_.AddValue(name, type, data)) {
      out_->lossy.push_back(ValueWhere(key_, name));
    }
  }
  std::string Finish() const { return writer_.Finish(); }

 private:
  RegWriter writer_;
  RegExport* out_;
  std::u16string key_;
};

}  // namespace

plat::SysErr WalkRegTree(const RegKeyPath& start, RegVisitor* visitor,
                         const RegProgress& progress, RegStoreError* error) {
  struct Pending {
    std::u16string sub;
    std::size_t depth;
  };
  std::vector<Pending> stack;
  stack.push_back({StoredCase(start.root, start.sub), 0});
  std::vector<std::uint8_t> buffer(kFirstBufferSize);
  std::size_t done = 0;
  while (!stack.empty()) {
    Pending pending = std::move(stack.back());
    stack.pop_back();
    const std::u16string path =
        RegKeyText({start.root, start.root_name, pending.sub});
    ScopedKey key;
    plat::SysErr err =
        Registry().OpenKey(start.root, pending.sub, plat::kKeyRead, key.out());
    // A subkey deleted while the walk goes on is simply not there any more.
    if (IsMissing(err) && done > 0) continue;
    if (err != plat::kOk) return Fail(error, err, path);
    visitor->Key(path, pending.depth);

    for (std::uint32_t i = 0;;) {
      std::u16string name;
      std::uint32_t type = 0;
      auto size = static_cast<std::uint32_t>(buffer.size());
      err = Registry().EnumValue(key.get(), i, &name, &type, buffer.data(),
                                 &size);
      if (err == plat::kErrNoMoreItems) break;
      if (err == plat::kErrMoreData) {
        buffer.resize(size);
        continue;
      }
      if (err != plat::kOk) return Fail(error, err, ValueWhere(path, name));
      visitor->Value(name, type, {buffer.data(), size});
      ++i;
    }
    std::vector<std::u16string> names;
    if ((err = SubkeyNames(key.get(), &names)) != plat::kOk) {
      return Fail(error, err, path);
    }
    for (auto it = names.rbegin(); it != names.rend(); ++it) {
      stack.push_back({ChildSub(pending.sub, *it), pending.depth + 1});
    }
    if (progress) progress(++done, 0);
  }
  return plat::kOk;
}

plat::SysErr ExportRegTree(const RegKeyPath& start, RegFormat format,
                           RegExport* out, const RegProgress& progress,
                           RegStoreError* error) {
  *out = RegExport();
  Exporter exporter(format, out);
  const plat::SysErr err = WalkRegTree(start, &exporter, progress, error);
  if (err == plat::kOk) out->bytes = exporter.Finish();
  return err;
}

plat::SysErr DeleteRegTree(const RegKeyPath& key, RegStoreError* error) {
  const std::u16string path = RegKeyText(key);
  std::vector<std::u16string> names;
  {
    ScopedKey open;
    plat::SysErr err =
        Registry().OpenKey(key.root, key.sub, plat::kKeyRead, open.out());
    if (IsMissing(err)) return plat::kOk;
    if (err == plat::kOk) err = SubkeyNames(open.get(), &names);
    if (err != plat::kOk) return Fail(error, err, path);
  }
  for (const std::u16string& name : names) {
    const plat::SysErr err = DeleteRegTree(
        {key.root, key.root_name, ChildSub(key.sub, name)}, error);
    if (err != plat::kOk) return err;
  }
  const plat::SysErr err = Registry().DeleteKey(key.root, key.sub);
  if (err != plat::kOk && !IsMissing(err)) return Fail(error, err, path);
  return plat::kOk;
}

plat::SysErr ApplyRegFile(const RegFile& file, const RegProgress& progress,
                          RegStoreError* error) {
  ScopedKey current;
  std::u16string path;
  for (std::size_t i = 0; i < file.changes.size(); ++i) {
    const RegChange& change = file.changes[i];
    plat::SysErr err = plat::kOk;
    switch (change.kind) {
      case RegChange::kKey:
        path = RegKeyText(change.key);
        err = Registry().CreateKey(change.key.root, change.key.sub,
                                   plat::kKeyAllAccess, current.out(), nullptr);
        if (err != plat::kOk) return Fail(error, err, path);
        break;
      case RegChange::kDeleteKey:
        current.Close();
        err = DeleteRegTree(change.key, error);
        if (err != plat::kOk) return err;
        break;
      case RegChange::kSetValue: {
        // Empty data still gets a buffer: some stores take null as absent.
        static constexpr std::uint8_t kNothing = 0;
        err = Registry().SetValue(
            current.get(), change.name, change.type,
            change.data.empty() ? &kNothing : change.data.data(),
            static_cast<std::uint32_t>(change.data.size()));
        if (err != plat::kOk) {
          return Fail(error, err, ValueWhere(path, change.name));
        }
        break;
      }
      case RegChange::kDeleteValue:
        err = Registry().DeleteValue(current.get(), change.name);
        if (err != plat::kOk && !IsMissing(err)) {
          return Fail(error, err, ValueWhere(path, change.name));
        }
        break;
    }
    if (progress) progress(i + 1, file.changes.size());
  }
  return plat::kOk;
}

}  // namespace sys
