'use strict';
// The turn-icon codes of this repository's simulator and cluster, carried in
// NavigationMetadata.naviTurnMode (the module defines no table: publisher
// and followers agree on one). The code names the manoeuvre at the end of
// the current segment.
const TurnMode = Object.freeze({
  NONE: 0,
  STRAIGHT: 1,
  SLIGHT_LEFT: 2,
  LEFT: 3,
  SHARP_LEFT: 4,
  SLIGHT_RIGHT: 5,
  RIGHT: 6,
  SHARP_RIGHT: 7,
  U_TURN: 8,
  ARRIVE: 9,
});

const TURN_MODE_NAMES = Object.freeze(Object.fromEntries(Object.entries(TurnMode).map(([name, code]) => [code, name])));

// What a driver is told, by code.
const TURN_MODE_TEXT = Object.freeze({
  [TurnMode.NONE]: 'Follow the road',
  [TurnMode.STRAIGHT]: 'Continue straight',
  [TurnMode.SLIGHT_LEFT]: 'Bear left',
  [TurnMode.LEFT]: 'Turn left',
  [TurnMode.SHARP_LEFT]: 'Sharp left',
  [TurnMode.SLIGHT_RIGHT]: 'Bear right',
  [TurnMode.RIGHT]: 'Turn right',
  [TurnMode.SHARP_RIGHT]: 'Sharp right',
  [TurnMode.U_TURN]: 'Make a U-turn',
  [TurnMode.ARRIVE]: 'Arrive at the destination',
});

// The manoeuvre for a change of heading in degrees, -180 to 180, positive
// clockwise (to the right). Bends under 20 degrees are no turn.
function classifyTurn(angle) {
  const size = Math.abs(angle);
  if (size < 20) return TurnMode.STRAIGHT;
  if (size >= 170) return TurnMode.U_TURN;
  const right = angle > 0;
  if (size < 60) return right ? TurnMode.SLIGHT_RIGHT : TurnMode.SLIGHT_LEFT;
  if (size < 120) return right ? TurnMode.RIGHT : TurnMode.LEFT;
  return right ? TurnMode.SHARP_RIGHT : TurnMode.SHARP_LEFT;
}

module.exports = { TurnMode, TURN_MODE_NAMES, TURN_MODE_TEXT, classifyTurn };
