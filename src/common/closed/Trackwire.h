// Closed library Trackwire.dll: telemetry records of key and value pairs.
#pragma once

#include <cstdint>
#include <string>

#if defined(TRACKWIRE_EXPORTS)
#define TRACKWIRE_API __declspec(dllexport)
#else
#define TRACKWIRE_API
#endif

/// One record: made on the stack, filled in order, sent once, dropped. Narrow text is in the active code page, but for
/// what is passed on as it came, in UTF-8: whole messages ("full_msg"), the raw result of a general evaluation
/// ("raw_result"), class and lesson data, and what a receiver says about itself (software version, company, channel,
/// "vdk_get_device_info"). Results of recognition, and of evaluation against stems, are in the active code page.
class TRACKWIRE_API CTrackwire {
public:
    CTrackwire();
    CTrackwire(const CTrackwire&) = delete;
    CTrackwire& operator=(const CTrackwire&) = delete;
    ~CTrackwire();

    void Push(std::string key, std::string value);
    void Push(std::string key, std::int32_t value);
    void Push(std::string key, std::uint32_t value);

    /// Sends the record.
    void Logger();

private:
    void* record_;
};

TRACKWIRE_API void SetVDShellVersionW(std::wstring version);
TRACKWIRE_API void SetVdkReceiveVersionA(std::string version);
TRACKWIRE_API void SetVdkManufactorA(std::string company);
TRACKWIRE_API void SetVdkChannelNumberA(std::string channel);
TRACKWIRE_API void SetBigClassIdA(std::string id);
TRACKWIRE_API void SetLessonNumA(std::string number);
TRACKWIRE_API void SetClassIdA(std::string id);
