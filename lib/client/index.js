'use strict';
// navigation-info-mgr/client: the navigation information API shaped as Node
// developers expect (events, async iteration, promises that reject with
// coded errors, AbortSignal and time-outs, strict input, keep-alive), on top
// of the module "carService.navigationInfoMgr", whose own API is unchanged.
const { nav } = require('./bindings');
const { NavigationClient } = require('./client');
const { Subscription } = require('./following');
const { NavigationServer } = require('./serving');
const { NavInfoError, AnswerCode } = require('./errors');

function createClient(options = undefined) {
  return new NavigationClient(options);
}

module.exports = {
  createClient,
  NavigationClient,
  Subscription,
  NavigationServer,
  NavInfoError,
  AnswerCode,
  LocationCoordType: nav.LocationCoordType,
  MapStatus: nav.MapStatus,
  NaviType: nav.NaviType,
  ThemeType: nav.ThemeType,
  QueryType: nav.QueryType,
  CommandType: nav.CommandType,
  RoutePreference: nav.RoutePreference,
};
