// A Node addon that measures one wake-up of an idle Node loop from another
// thread, as a thread-safe function makes it (uv_async_send underneath):
// wake() returns a promise of the nanoseconds from the helper thread's call
// to the loop thread running the item. The helper waits 200 µs before it
// calls, so that the loop is asleep in its poll by then.
#include <node_api.h>
#include <pthread.h>
#include <stdint.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

static pthread_mutex_t g_mutex = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t g_requested = PTHREAD_COND_INITIALIZER;
static int g_pending = 0;
static napi_threadsafe_function g_tsfn = NULL;
static napi_deferred g_deferred = NULL;

static int64_t NowNs(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (int64_t)now.tv_sec * 1000000000 + now.tv_nsec;
}

static void* Helper(void* unused)
{
    (void)unused;
    for (;;) {
        pthread_mutex_lock(&g_mutex);
        while (!g_pending) {
            pthread_cond_wait(&g_requested, &g_mutex);
        }
        g_pending = 0;
        pthread_mutex_unlock(&g_mutex);
        usleep(200);
        int64_t* sent = malloc(sizeof(int64_t));
        if (sent == NULL) {
            continue;
        }
        *sent = NowNs();
        if (napi_call_threadsafe_function(g_tsfn, sent, napi_tsfn_nonblocking) != napi_ok) {
            free(sent);
        }
    }
    return NULL;
}

static void Arrived(napi_env env, napi_value unusedCallback, void* context, void* data)
{
    (void)unusedCallback;
    (void)context;
    int64_t elapsed = NowNs() - *(int64_t*)data;
    free(data);
    if (env == NULL) {
        return;
    }
    napi_value result = NULL;
    napi_create_double(env, (double)elapsed, &result);
    napi_deferred deferred = g_deferred;
    g_deferred = NULL;
    napi_unref_threadsafe_function(env, g_tsfn);
    napi_resolve_deferred(env, deferred, result);
}

static napi_value Wake(napi_env env, napi_callback_info info)
{
    (void)info;
    if (g_deferred != NULL) {
        napi_throw_error(env, NULL, "one wake at a time");
        return NULL;
    }
    if (g_tsfn == NULL) {
        napi_value name = NULL;
        pthread_t thread;
        if (napi_create_string_utf8(env, "loopWake", NAPI_AUTO_LENGTH, &name) != napi_ok ||
            napi_create_threadsafe_function(env, NULL, NULL, name, 0, 1, NULL, NULL, NULL, Arrived, &g_tsfn) !=
                napi_ok ||
            pthread_create(&thread, NULL, Helper, NULL) != 0) {
            napi_throw_error(env, NULL, "cannot set up the wake-up");
            return NULL;
        }
        pthread_detach(thread);
    }
    napi_value promise = NULL;
    napi_create_promise(env, &g_deferred, &promise);
    napi_ref_threadsafe_function(env, g_tsfn); // the loop waits for the item
    pthread_mutex_lock(&g_mutex);
    g_pending = 1;
    pthread_cond_signal(&g_requested);
    pthread_mutex_unlock(&g_mutex);
    return promise;
}

NAPI_MODULE_INIT()
{
    napi_value wake = NULL;
    napi_create_function(env, "wake", NAPI_AUTO_LENGTH, Wake, NULL, &wake);
    napi_set_named_property(env, exports, "wake", wake);
    return exports;
}
