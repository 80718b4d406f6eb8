// Closed library SocketVoteDeck.dll: the socket-attached base station.
//
// Each interface is a binary table: the order of its operations is the library's, a Reserved row holds the place of an
// operation that is not called, no operation is overloaded, and none returns a structure. A destructor's row is an
// ordinary operation here, since one compiler would give it two places.
#pragma once

#include <cstdint>

#if defined(SOCKETVOTEDECK_EXPORTS)
#define SOCKETVOTEDECK_API __declspec(dllexport)
#else
#define SOCKETVOTEDECK_API
#endif

/// Question kinds and light colours as the receivers' libraries number them; the two libraries differ in the meaning.
enum EnumQuestionType : std::int32_t {};
enum EnumFlashingColor : std::int32_t {};

/// A recording, valid only during the callback that hands it over.
class IKeypadAudio {
public:
    virtual void Reserved0() = 0;
    virtual void Reserved1() = 0;
    virtual bool IsValid() = 0;
    virtual void Reserved3() = 0;
    virtual const std::uint8_t* GetData() = 0;
    virtual std::int32_t GetSize() = 0;
    virtual void Release() = 0;

protected:
    ~IKeypadAudio() = default;
};

/// What the station calls, on threads of its library. Operations without arguments here have some that nobody reads.
class IVoteDeckEvent {
public:
    virtual void* DeletingDestructor(unsigned int flags) = 0;
    virtual void OnKeypadConnect(std::uintptr_t unused, std::uint16_t ushDeviceId, bool bConnect) = 0;
    virtual void OnKeypadEvent(std::uint16_t ushDeviceId, std::int32_t enKeyValue) = 0;
    virtual void OnKeypadAudioEvent(std::uint16_t ushDeviceID, IKeypadAudio* audio, bool error) = 0;
    virtual void OnKeypadStateEvent() = 0;
    virtual void OnKeypadLowBatteryEvent() = 0;
    virtual void OnMCUUpdateProgress() = 0;
    virtual void OnRepeatedConnectionKeypad() = 0;
    virtual void OnLogEvent() = 0;

protected:
    ~IVoteDeckEvent() = default;
};

/// The station. Texts are NUL-terminated and in the active code page; times are the station's own units.
class ISocketVoteDeck {
public:
    virtual void Reserved0() = 0;
    virtual void SetListener(IVoteDeckEvent* listener) = 0;
    /// Address in host byte order; 0 on success.
    virtual std::int32_t InitSocket(std::uint32_t address, std::uint16_t port, std::uint16_t timeout) = 0;
    virtual void CloseSocket() = 0;
    virtual void StartSession() = 0;
    virtual void Reserved5() = 0;
    /// Device number 0 is every keypad.
    virtual void StartQuestion(EnumQuestionType type, const char* text1, const char* text2, const char* text3,
                               std::int32_t number, bool flag, std::uint16_t device) = 0;
    virtual void EndQuestion(std::uint32_t device, const char* text) = 0;
    virtual void SendContext(const char* row1, const char* row2, const char* row3, std::int32_t number,
                             std::uint16_t device) = 0;
    virtual void SendAlarm(std::uint32_t device, std::uint16_t duration, std::uint16_t interval,
                           std::uint16_t times) = 0;
    virtual void SendVibrate(std::uint32_t device, std::uint16_t duration, std::uint16_t interval,
                             std::uint16_t times) = 0;
    virtual void SendFlashing(std::uint32_t device, EnumFlashingColor color, std::uint16_t duration,
                              std::uint16_t interval, std::uint16_t times) = 0;
    virtual void Reserved12() = 0;
    virtual void SetSessionEnabled(bool enabled) = 0;
    virtual void Reserved14() = 0;
    virtual void Reserved15() = 0;
    virtual void Reserved16() = 0;
    virtual void SetSessionMode(std::int32_t mode, std::int32_t option) = 0;

protected:
    ~ISocketVoteDeck() = default;
};

extern "C" SOCKETVOTEDECK_API ISocketVoteDeck* CreateVoteDeckObj();
