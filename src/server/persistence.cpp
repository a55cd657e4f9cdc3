#include "server/persistence.h"

#include <cstring>
#include <new>

#include "platform/handles.h"

namespace orrelux {

namespace {

class StreamSource final : public ByteSource {
public:
    explicit StreamSource(IStream* stream) : stream_(stream) {}

    StreamStatus Read(void* buffer, std::uint32_t size, std::uint32_t& bytesRead) override {
        ULONG read = 0;
        const HRESULT status = stream_->Read(buffer, size, &read);
        bytesRead = read;
        return status;
    }

    // What is left between the position and the end, when the stream can tell.
    std::optional<std::uint64_t> Remaining() const override {
        STATSTG stat = {};
        LARGE_INTEGER zero = {};
        ULARGE_INTEGER position = {};
        if (FAILED(stream_->Stat(&stat, STATFLAG_NONAME)) ||
            FAILED(stream_->Seek(zero, STREAM_SEEK_CUR, &position)) ||
            position.QuadPart > stat.cbSize.QuadPart)
            return std::nullopt;
        return stat.cbSize.QuadPart - position.QuadPart;
    }

private:
    IStream* stream_;
};

class StreamSink final : public ByteSink {
public:
    explicit StreamSink(IStream* stream) : stream_(stream) {}

    StreamStatus Write(const void* data, std::uint32_t size, std::uint32_t& written) override {
        ULONG count = 0;
        const HRESULT status = stream_->Write(data, size, &count);
        written = count;
        return status;
    }

private:
    IStream* stream_;
};

// The typed rows go through the component's own IDispatch, as a client's calls would.
class DispatchAccess final : public PropertyAccess {
public:
    DispatchAccess(IDispatch* dispatch, SIZEL& extent) : dispatch_(dispatch), extent_(extent) {}

    std::uint32_t GetExtent(ExtentAxis axis) override {
        return static_cast<std::uint32_t>(axis == ExtentAxis::Cx ? extent_.cx : extent_.cy);
    }

    void PutExtent(ExtentAxis axis, std::uint32_t value) override {
        (axis == ExtentAxis::Cx ? extent_.cx : extent_.cy) = static_cast<LONG>(value);
    }

    StreamStatus GetProperty(std::int32_t dispid, PropertyValue& value) override {
        DISPPARAMS none = {nullptr, nullptr, 0, 0};
        VARIANT result;
        ::VariantInit(&result);
        HRESULT status = dispatch_->Invoke(dispid, IID_NULL, LOCALE_USER_DEFAULT,
                                           DISPATCH_PROPERTYGET, &none, &result, nullptr, nullptr);
        if (SUCCEEDED(status))
            status = FromVariant(result, value);
        ::VariantClear(&result);
        return status;
    }

    StreamStatus PutProperty(std::int32_t dispid, const PropertyValue& value) override {
        VARIANT argument;
        ::VariantInit(&argument);
        HRESULT status = ToVariant(value, argument);
        if (SUCCEEDED(status)) {
            DISPID named = DISPID_PROPERTYPUT;
            DISPPARAMS parameters = {&argument, &named, 1, 1};
            status = dispatch_->Invoke(dispid, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYPUT,
                                       &parameters, nullptr, nullptr, nullptr);
        }
        ::VariantClear(&argument);
        return status;
    }

private:
    // A simple value keeps its type and bits; anything else is stored as its text.
    static HRESULT FromVariant(VARIANT& variant, PropertyValue& value) {
        const VarType type = V_VT(&variant);
        if (const std::size_t size = FixedValueSize(type)) {
            std::uint64_t bits = 0;
            std::memcpy(&bits, &V_UI8(&variant), size); // the union's members share one address
            value = PropertyValue::FixedSize(type, bits);
            return S_OK;
        }
        if (type != VT_BSTR) {
            const HRESULT changed = ::VariantChangeType(&variant, &variant, 0, VT_BSTR);
            if (FAILED(changed))
                return changed;
        }
        const BSTR text = V_BSTR(&variant);
        if (!text) {
            value = PropertyValue::NullText();
            return S_OK;
        }
        try {
            const auto* units = reinterpret_cast<const char16_t*>(text);
            value = PropertyValue::Text(std::u16string(units, ::SysStringLen(text)));
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        }
        return S_OK;
    }

    static HRESULT ToVariant(const PropertyValue& value, VARIANT& variant) {
        if (value.Type() == kVtBstr) {
            V_VT(&variant) = VT_BSTR;
            V_BSTR(&variant) = nullptr;
            if (value.IsNullText())
                return S_OK;
            const std::u16string& text = value.TextValue();
            V_BSTR(&variant) = ::SysAllocStringLen(reinterpret_cast<const OLECHAR*>(text.data()),
                                                   static_cast<UINT>(text.size()));
            return V_BSTR(&variant) ? S_OK : E_OUTOFMEMORY;
        }
        const std::size_t size = FixedValueSize(value.Type());
        if (size == 0)
            return E_FAIL;
        V_VT(&variant) = value.Type();
        const std::uint64_t bits = value.Bits();
        std::memcpy(&V_UI8(&variant), &bits, size);
        return S_OK;
    }

    IDispatch* dispatch_;
    SIZEL& extent_;
};

} // namespace

HRESULT LoadPropertyStream(IStream* stream, PropertyTable table, IDispatch* dispatch,
                           SIZEL& extent) {
    try {
        StreamSource source(stream);
        DispatchAccess access(dispatch, extent);
        return LoadProperties(source, table, access);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT SavePropertyStream(IStream* stream, PropertyTable table, IDispatch* dispatch,
                           SIZEL extent) {
    try {
        StreamSink sink(stream);
        DispatchAccess access(dispatch, extent);
        return SaveProperties(sink, table, access);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

} // namespace orrelux
