// Registration of the module with the Node-API runtime at load time.
#ifndef NAVIGATION_INFO_NAPI_NAV_NAPI_INIT_H
#define NAVIGATION_INFO_NAPI_NAV_NAPI_INIT_H

extern "C" void RegisterModule(void);

#endif // NAVIGATION_INFO_NAPI_NAV_NAPI_INIT_H
