#include "platform/icc/IccProfile.h"

#include <lcms2.h>

#include <mutex>

#include "core/Log.h"
#include "core/RegularFile.h"

namespace ombrel {

struct IccProfile::Impl {
    cmsContext context = nullptr;
    cmsHPROFILE profile = nullptr;
    mutable std::mutex lock;
    std::vector<std::string> messages;

    Impl() {
        context = cmsCreateContext(nullptr, this);
        if (context) cmsSetLogErrorHandlerTHR(context, &Impl::OnMessage);
    }
    ~Impl() {
        if (profile) cmsCloseProfile(profile);
        if (context) cmsDeleteContext(context);
    }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    static void OnMessage(cmsContext context, cmsUInt32Number, const char* text) {
        auto* self = static_cast<Impl*>(cmsGetContextUserData(context));
        if (!self || !text) return;
        std::lock_guard guard(self->lock);
        self->messages.emplace_back(text);
    }
    std::string Joined() const {
        std::lock_guard guard(lock);
        std::string out;
        for (const std::string& m : messages) out += (out.empty() ? "" : "; ") + m;
        return out;
    }
};

namespace {

std::string WithReasons(std::string what, const std::string& reasons) {
    return reasons.empty() ? what : what + ": " + reasons;
}

void AppendUtf8(std::string& out, uint32_t c) {
    if (c < 0x80) {
        out += char(c);
    } else if (c < 0x800) {
        out += char(0xC0 | (c >> 6));
        out += char(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += char(0xE0 | (c >> 12));
        out += char(0x80 | ((c >> 6) & 0x3F));
        out += char(0x80 | (c & 0x3F));
    } else if (c < 0x110000) {
        out += char(0xF0 | (c >> 18));
        out += char(0x80 | ((c >> 12) & 0x3F));
        out += char(0x80 | ((c >> 6) & 0x3F));
        out += char(0x80 | (c & 0x3F));
    }
}

bool KnownClass(cmsProfileClassSignature c) {
    switch (c) {
        case cmsSigInputClass:
        case cmsSigDisplayClass:
        case cmsSigOutputClass:
        case cmsSigLinkClass:
        case cmsSigAbstractClass:
        case cmsSigColorSpaceClass:
        case cmsSigNamedColorClass: return true;
        default: return false;
    }
}

}  // namespace

IccProfile::IccProfile(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
IccProfile::~IccProfile() = default;

std::unique_ptr<IccProfile> IccProfile::FromFile(const std::string& path, Status* status) {
    // Display profiles with their tables run to a few megabytes; the small-file bound holds them.
    std::string bytes;
    if (Status read = ReadRegularFile(path, &bytes); !read.ok()) {
        if (status) *status = read;
        return nullptr;
    }
    auto profile = FromBytes(bytes.data(), bytes.size(), status);
    if (!profile && status) *status = Status(status->code(), path + ": " + status->message());
    return profile;
}

std::unique_ptr<IccProfile> IccProfile::FromBytes(const void* data, size_t size, Status* status) {
    auto impl = std::make_unique<Impl>();
    if (impl->context && data && size > 0 && size <= UINT32_MAX)
        impl->profile = cmsOpenProfileFromMemTHR(impl->context, data, cmsUInt32Number(size));
    if (!impl->profile) {
        if (status) *status = InvalidError(WithReasons("not an ICC profile", impl->Joined()));
        return nullptr;
    }
    if (status) *status = OkStatus();
    return std::unique_ptr<IccProfile>(new IccProfile(std::move(impl)));
}

std::unique_ptr<IccProfile> IccProfile::SRGB() {
    auto impl = std::make_unique<Impl>();
    impl->profile = cmsCreate_sRGBProfileTHR(impl->context);
    if (!impl->profile) return nullptr;
    return std::unique_ptr<IccProfile>(new IccProfile(std::move(impl)));
}

std::vector<uint8_t> IccProfile::Bytes() const {
    cmsUInt32Number size = 0;
    if (!cmsSaveProfileToMem(impl_->profile, nullptr, &size) || size == 0) return {};
    std::vector<uint8_t> bytes(size);
    if (!cmsSaveProfileToMem(impl_->profile, bytes.data(), &size)) return {};
    bytes.resize(size);
    return bytes;
}

std::unique_ptr<IccProfile> IccProfile::Copy(Status* status) const {
    const std::vector<uint8_t> bytes = Bytes();
    if (bytes.empty()) {
        if (status) *status = InvalidError(WithReasons("the profile cannot be written back", impl_->Joined()));
        return nullptr;
    }
    return FromBytes(bytes.data(), bytes.size(), status);
}

Status IccProfile::Check() const {
    std::vector<std::string> problems;
    if (Bytes().empty()) problems.emplace_back("the profile cannot be written back");
    const cmsProfileClassSignature c = cmsGetDeviceClass(impl_->profile);
    if (!KnownClass(c)) problems.push_back(fmt::format("unknown device class 0x{:08x}", uint32_t(c)));
    const cmsColorSpaceSignature space = cmsGetColorSpace(impl_->profile);
    if (_cmsLCMScolorSpace(space) <= 0) problems.push_back(fmt::format("unknown colour space 0x{:08x}", uint32_t(space)));
    if (problems.empty()) return OkStatus();
    std::string text;
    for (const std::string& p : problems) text += (text.empty() ? "" : "; ") + p;
    const std::string said = impl_->Joined();
    return InvalidError(said.empty() ? text : text + "; " + said);
}

std::string IccProfile::Description() const {
    // Wide text, since this library version has no UTF-8 getter.
    const cmsUInt32Number bytes = cmsGetProfileInfo(impl_->profile, cmsInfoDescription, "en", "US", nullptr, 0);
    if (bytes == 0) return {};
    std::vector<wchar_t> wide(bytes / sizeof(wchar_t) + 1, L'\0');
    cmsGetProfileInfo(impl_->profile, cmsInfoDescription, "en", "US", wide.data(),
                      cmsUInt32Number(wide.size() * sizeof(wchar_t)));
    std::string out;
    for (wchar_t c : wide) {
        if (c == L'\0') break;
        AppendUtf8(out, uint32_t(c));
    }
    return out;
}

bool IccProfile::RawTag(const char signature[4], std::vector<uint8_t>* bytes) const {
    const auto sig = cmsTagSignature(uint32_t(uint8_t(signature[0])) << 24 | uint32_t(uint8_t(signature[1])) << 16 |
                                     uint32_t(uint8_t(signature[2])) << 8 | uint32_t(uint8_t(signature[3])));
    if (!cmsIsTag(impl_->profile, sig)) return false;
    const cmsUInt32Number size = cmsReadRawTag(impl_->profile, sig, nullptr, 0);
    if (size == 0) return false;
    bytes->assign(size, 0);
    return cmsReadRawTag(impl_->profile, sig, bytes->data(), size) == size;
}

double IccProfile::Gamma() const {
    const double gamma = cmsDetectRGBProfileGamma(impl_->profile, 0.1);
    if (gamma > 0) return gamma;
    const std::string said = impl_->Joined();
    LogError("Color Profile:\n{{\n{}\n}}\n", said.empty() ? "no gamma can be estimated for this profile" : said);
    return 0;
}

std::vector<std::string> IccProfile::Messages() const {
    std::lock_guard guard(impl_->lock);
    return impl_->messages;
}

void* IccProfile::Handle() const { return impl_->profile; }

}  // namespace ombrel
