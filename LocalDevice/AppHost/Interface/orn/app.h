/*
 * The interface between a native app and the app host that runs it. C99 and C++.
 *
 * An app is a shared library, "liborn" + the app id in lower case + ".so", that exports three functions:
 *
 *     ORN_APP_EXPORT uint32_t orn_app_interface_version(void) { return ORN_APP_INTERFACE_VERSION; }
 *     ORN_APP_EXPORT orn_result orn_app_start(const orn_host* host, void** app);
 *     ORN_APP_EXPORT void orn_app_stop(void* app);
 *
 * The host calls orn_app_start once. The app reads its parameters there, says which values it wants to hear of, starts
 * its timers and returns. From then on it lives in its callbacks, until the host calls orn_app_stop, once. All of this
 * happens on one thread, the app thread, one call at a time, so a simple app needs neither a thread nor a lock of its
 * own. A call that does not return stops the app's heartbeat with it, and after a minute without one the device
 * restarts.
 *
 * An app that switches a lamp with a push button:
 *
 *     static void OnButton(void* context, uint16_t co, const orn_value* value)
 *     {
 *         const orn_host* host = context;
 *         (void)co;
 *         host->set_value(host, 2, value);
 *     }
 *
 *     orn_result orn_app_start(const orn_host* host, void** app)
 *     {
 *         (void)app;
 *         return host->on_value(host, 1, OnButton, (void*)host);
 *     }
 *
 * Threads. set_value, post, log, fail, set_running and set_alive may be called from any thread, at any time between the
 * call of orn_app_start and the return of orn_app_stop. All other functions belong to the app thread; elsewhere they
 * return ORN_WRONG_THREAD, the text functions NULL. An app with threads of its own hands work over with post, and has
 * ended its threads when orn_app_stop returns.
 *
 * Texts are UTF-8 and end with a zero byte. A text that the app hands over is copied before the call returns. How long
 * a text of the host lives stands with the function that gives it.
 *
 * Numbers. Communication objects (COs) count from 1 to 520, parameters of each kind from 1 to 50, as in the
 * configuration tool.
 *
 * No exception may leave a function of the app. One that does, on the app thread, ends the app as fail does.
 */
#ifndef ORN_APP_H
#define ORN_APP_H

/* NOLINTBEGIN(modernize-deprecated-headers,modernize-use-using): C reads it, too */

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** The version that this header describes. A host refuses an app that was built for another one. */
#define ORN_APP_INTERFACE_VERSION UINT32_C(1)

#define ORN_MAX_CO 520         /**< the highest number of a communication object */
#define ORN_PARAMETER_SLOTS 50 /**< the highest number of a parameter of each kind */

/** The longest timer: as many seconds as a number parameter can hold. */
#define ORN_MAX_TIMER_MILLISECONDS UINT64_C(4294967295000)

#define ORN_APP_EXPORT __attribute__((visibility("default")))

/** How a call ended. An app may return any of them from orn_app_start; all but ORN_OK mean that it did not start. */
typedef enum orn_result {
    ORN_OK = 0,
    ORN_BAD_ARGUMENT = 1,  /**< a null pointer, or a number out of range */
    ORN_NO_SUCH_CO = 2,    /**< the device has no such CO, or the CO has no data-point type */
    ORN_NO_VALUE = 3,      /**< nobody has set a value yet */
    ORN_NOT_CONNECTED = 4, /**< the device stack is out of reach at the moment */
    ORN_WRONG_THREAD = 5,  /**< called on a thread other than the app thread */
    ORN_FAILED = 6         /**< another failure, such as a lack of memory; the log says more */
} orn_result;

typedef enum orn_value_type { ORN_BOOLEAN = 1, ORN_INTEGER = 2, ORN_NUMBER = 3, ORN_TEXT = 4 } orn_value_type;

/**
 * A value: its type, and the member of `as` that belongs to it.
 *
 * Which type a CO's values have follows from its data-point type, as Docs/data-point-types.md says of each: main type 1
 * boolean; 6, 7, 8, 12, 13, 17, 20, 21, 22, 27 and 29 integer, but 8.010 number; 5 integer, but 5.001 and 5.003 number
 * (percent, degrees); 9 and 14 number; 4, 16, 28 and all types of several fields text. A value that is set need not
 * have that type, as long as it means one of the CO's values: the integer 1 for a boolean, 21 for a number, a number
 * without fraction for an integer, anything for a text.
 */
typedef struct orn_value {
    orn_value_type type;
    union {
        bool boolean;
        int64_t integer;
        double number;
        const char* text;
    } as;
} orn_value;

typedef enum orn_log_level { ORN_LOG_DEBUG = 1, ORN_LOG_INFO = 2, ORN_LOG_WARN = 3, ORN_LOG_ERROR = 4 } orn_log_level;

/** Names a timer that runs. Never 0. */
typedef uint64_t orn_timer;

/**
 * A CO got a value. `value`, its text included, lives until the call returns.
 *
 * An app hears every value that somebody else gave the CO, equal ones each time, in the order in which they came. What
 * it set itself it does not hear.
 */
typedef void (*orn_value_handler)(void* context, uint16_t co, const orn_value* value);

/** The device begins (true) or ceases (false) to exchange values with the bus. */
typedef void (*orn_communication_handler)(void* context, bool on);

/** A task that was posted, or a timer that is due. */
typedef void (*orn_task)(void* context);

typedef struct orn_host orn_host;

/** The functions of the host. All pointers are set, and valid until orn_app_stop has returned. */
struct orn_host {
    uint32_t interface_version;
    int logical_device; /**< 1 or 2: which of the two logical KNX devices of the device the app is */

    /**
     * An IP parameter as "192.168.1.10"; one that nobody set is "0.0.0.0". NULL when `slot` is out of range. The text
     * lives until orn_app_stop returns. App thread.
     */
    const char* (*ip_parameter)(const orn_host* host, uint16_t slot);

    /** A number parameter; one that nobody set is 0. ORN_BAD_ARGUMENT. App thread. */
    orn_result (*number_parameter)(const orn_host* host, uint16_t slot, uint32_t* number);

    /**
     * A text parameter; one that nobody set is "". NULL when `slot` is out of range. The text lives until orn_app_stop
     * returns. App thread.
     */
    const char* (*text_parameter)(const orn_host* host, uint16_t slot);

    /**
     * The value that a CO has: the last one that came or that the app set. Asks nobody. A text lives until the next
     * call of this function. ORN_BAD_ARGUMENT, ORN_NO_SUCH_CO, ORN_NO_VALUE. App thread.
     */
    orn_result (*get_value)(const orn_host* host, uint16_t co, orn_value* value);

    /**
     * Sets the value of a CO, and with that sends it to the bus where the CO transmits. Returns at once, unless
     * hundreds of values are on their way: then the device stack has to catch up. The values of one CO arrive in the
     * order of the calls. A text longer than 14 characters scrolls. A value that the CO's data-point type cannot
     * express does not reach the bus; the device's log says so. ORN_BAD_ARGUMENT, ORN_NO_SUCH_CO, ORN_NOT_CONNECTED
     * (the value is lost). Any thread.
     */
    orn_result (*set_value)(const orn_host* host, uint16_t co, const orn_value* value);

    /**
     * Calls `handler` with `context` for every value that somebody else gives the CO, in place of an earlier handler;
     * NULL calls nobody. ORN_NO_SUCH_CO. App thread.
     */
    orn_result (*on_value)(const orn_host* host, uint16_t co, orn_value_handler handler, void* context);

    /**
     * Calls `handler` with `context` whenever communication with the bus begins or ceases, in place of an earlier
     * handler; NULL calls nobody. It begins some time after orn_app_start has returned. App thread.
     */
    orn_result (*on_communication)(const orn_host* host, orn_communication_handler handler, void* context);

    /**
     * Calls `task` with `context` after `milliseconds`, once or, where `periodic` is set, again and again in this
     * interval; calls that the app was too busy for are left out. Puts the timer's name into `timer`, which may be
     * NULL. ORN_BAD_ARGUMENT: too long, or a period of 0. App thread.
     */
    orn_result (*start_timer)(const orn_host* host, uint64_t milliseconds, bool periodic, orn_task task, void* context,
                              orn_timer* timer);

    /**
     * Stops a timer: on return no call of it follows. One that has been called once, or was stopped, is no timer any
     * more: that is ORN_OK as well. App thread.
     */
    orn_result (*stop_timer)(const orn_host* host, orn_timer timer);

    /**
     * Calls `task` with `context` on the app thread, after what is due there already. What is posted once the app stops
     * is not called. ORN_BAD_ARGUMENT. Any thread.
     */
    orn_result (*post)(const orn_host* host, orn_task task, void* context);

    /** Writes a line to the log. Further lines of the text are indented, its control characters escaped. Any thread. */
    void (*log)(const orn_host* host, orn_log_level level, const char* text);

    /**
     * The app cannot go on: writes `text` to the log as an error and ends the app. Returns; the host calls orn_app_stop
     * later. Any thread.
     */
    void (*fail)(const orn_host* host, const char* text);

    /**
     * Tells whether the app can do its work. It can, from the return of orn_app_start on, unless it has said otherwise.
     * While it cannot, the run state is "Stopped" and there is no heartbeat: after a minute the device restarts. One
     * that says so in orn_app_start is still starting, and has 90 s until it can, or until it says so again, elsewhere.
     * For an app that depends on another process. Any thread.
     */
    void (*set_running)(const orn_host* host, bool running);

    /**
     * Tells whether the app goes on. It does unless it has said otherwise. While it does not, there is no heartbeat, as
     * if a call of the app did not return: after a minute the device restarts. The run state stays.
     * For an app whose work is done by another process, which may hang. Any thread.
     */
    void (*set_alive)(const orn_host* host, bool alive);
};

/** Returns ORN_APP_INTERFACE_VERSION. */
ORN_APP_EXPORT uint32_t orn_app_interface_version(void);

/**
 * Starts the app. `*app`, NULL before, is the app's own: orn_app_stop gets it back. With a result other than ORN_OK the
 * app has not started: orn_app_stop is not called, and the process ends.
 */
ORN_APP_EXPORT orn_result orn_app_start(const orn_host* host, void** app);

/** Ends the app. No callback follows. The app may still set values here. */
ORN_APP_EXPORT void orn_app_stop(void* app);

#ifdef __cplusplus
}
#endif

/* NOLINTEND(modernize-deprecated-headers,modernize-use-using) */

#endif
