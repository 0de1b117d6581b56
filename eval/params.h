// Every weight of the evaluation. A raw parameter holds what values.txt says (or its compiled-in
// default; no default means 0); the tables that the evaluation reads during a search are derived
// from the raw ones by FixValues, the derived-table step and PackEvaluationTables, all run when the
// material table is built.
//
// Naming: a term with a midgame and an endgame half has raw halves `NameMg`, `NameEg` and the
// packed pair `Name` = (midgame << 16) + endgame. A term that enters both halves equally has a raw
// `NameSource` and the packed `Name`.
#pragma once
#include <cstdint>

// ---- Material (imbalance chain, pawn and piece values, class tables) ----
extern int32_t PawnMg[4], PawnEg[4];           // corners of the heavy-piece shares
extern int32_t ImbalanceMg[6], ImbalanceEg[6]; // added to the chain's bases / end-game coefficients
// Index of PieceMg, PieceEg and of the four-piece weight tables below.
constexpr int WEIGHT_KNIGHT = 0, WEIGHT_BISHOP = 1, WEIGHT_ROOK = 2, WEIGHT_QUEEN = 3;
extern int32_t PieceMg[4], PieceEg[4];
extern int32_t BishopPairSource[5];
extern int32_t BishopPair[9]; // by the enemy's pawn count
extern int32_t RookPawnBonus[17];
extern int32_t PieceVsPawnsSource[5];
extern int32_t PieceVsPawns[9];
extern int32_t RookVsMinorsSource[4];
extern int32_t RookVsMinors[9]; // packed, equal halves
extern int32_t QueenKnightDuo, RookBishopDuo;
extern int32_t OutsideKingSource;
extern int32_t OutsideKing; // packed, equal halves
extern int32_t RookEndingTable[39][39];
extern int32_t ClassPawns[114][6][2];
extern int32_t ClassKings[3][4][4][4];
extern int32_t EndgamePoints, EndingPointsNoQueen;

// ---- Pawn structure ----
extern int32_t PawnConnectedMgSource[20], PawnConnectedEgSource[20];
extern int32_t PawnLeverSupportMg[64], PawnLeverSupportEg[64];
extern int32_t PawnDoubledMg[64], PawnDoubledEg[64];
extern int32_t PawnIsolatedOpenMg[64], PawnIsolatedOpenEg[64];
extern int32_t PawnIsolatedClosedMg[64], PawnIsolatedClosedEg[64];
extern int32_t PawnBackwardOpenMg[64], PawnBackwardOpenEg[64];
extern int32_t PawnBackwardClosedMg[64], PawnBackwardClosedEg[64];
extern int32_t PawnCandidateMg[64], PawnCandidateEg[64];
extern int32_t PawnSpanMg[9], PawnSpanEg[9];
extern int32_t PassedSpanMg[9], PassedSpanEg[9];
extern int32_t PawnConnected[64], PawnLeverSupport[64], PawnDoubled[64];
extern int32_t PawnIsolatedOpen[64], PawnIsolatedClosed[64];
extern int32_t PawnBackwardOpen[64], PawnBackwardClosed[64];
extern int32_t PawnCandidate[64], PawnSpan[9], PassedSpan[9];
extern int32_t ShelterTable[512];
// The shelter-file block of values.txt; its first twelve feed the storm tables.
extern int32_t ShelterFileParams[13];
extern int32_t StormContact[4], StormBlocked[4], StormFree[4];

// ---- King safety ----
extern int32_t ShelterHole, ShelterOpenMiddle, ShelterOpenSide, ShelterQueenGone;
extern int32_t ShelterEnemyMiddle, ShelterEnemySide, ShelterNoQueen;
extern int32_t DangerCurve[128], ShelterCurve[64], ShelterPenalty[64];
// What DangerCurve and ShelterCurve become once a values file has been read.
extern const int32_t DangerCurveAfterFile[128];
extern const int32_t ShelterCurveAfterFile[64];
extern int32_t ShelterMg[16], ShelterEg[16];
extern int32_t KingSquareShelterSource[32];
extern int32_t KingSquareShelter[64];
extern int32_t KingRingTable[384];
extern int32_t RookFileDangerSource[3], QueenDistDangerSource[5], QueenFileDangerSource[3];
extern int32_t RookFileDanger[8], QueenDistDanger[9], QueenFileDanger[8];
constexpr int32_t ROOK_CHECK_SQUARE_DANGER = 3;
extern int32_t CheckSquareDangerKnight[32], CheckSquareDangerBishop[32], CheckSquareDangerQueen[32];
// Knight, bishop, rook, queen, pawn, king.
extern int32_t AttackerWeight[6];
extern int32_t PawnRingDanger;
extern int32_t PressureA, PressureB, PressureCentre; // amplitude, slope, centre of PressureSigmoid
extern int32_t AttackHorrorA, AttackHorrorB, AttackHorrorC;
extern int32_t DefendHorrorA, DefendHorrorB, DefendHorrorC;
extern int32_t PawnEndgameA, PawnEndgameB; // centre 0
extern int32_t AttackScaleQueen, AttackScaleNoQueen;
extern int32_t MaterialSigmoidScale, MaterialSigmoidSlope;
extern int32_t DevelopmentAttack[6], DevelopmentShelter[6];
extern int32_t QueenCheckBonus[7];
extern int32_t DefenceForceWeight[4], DefencePawnWeight;
extern int32_t AttackForceWeight[4], AttackPawnWeight;

// ---- Piece terms ----
extern int32_t PawnWallKingMg, PawnWallKingEg, RookCorneredMg, RookCorneredEg;
extern int32_t RookOnWeakFileMg, RookOnWeakFileEg, RookNoOpenAccessMg, RookNoOpenAccessEg;
extern int32_t RookOnSeventhMg, RookOnSeventhEg, RookSeventhBatteryMg, RookSeventhBatteryEg;
extern int32_t RookSeventhPasserMg, RookSeventhPasserEg, RookOnEighthMg, RookOnEighthEg;
extern int32_t RookMobilityMg, RookMobilityEg, QueenOnEighthMg, QueenOnEighthEg;
extern int32_t QueenSeventhBatteryMg, QueenSeventhBatteryEg, QueenMobilityMg, QueenMobilityEg;
extern int32_t BishopMobilityMg, BishopMobilityEg, BishopTrappedMg, BishopTrappedEg;
extern int32_t BadBishopPawnMg, BadBishopPawnEg, BadBishopBlockedMg, BadBishopBlockedEg;
extern int32_t BishopBothWingsMg, BishopBothWingsEg, FianchettoKingMg, FianchettoKingEg;
extern int32_t BlockedPawnBonusMg, BlockedPawnBonusEg, KnightBlockedPawnMg, KnightBlockedPawnEg;
extern int32_t PawnWallKing, RookCornered, RookOnWeakFile, RookNoOpenAccess, RookOnSeventh;
extern int32_t RookSeventhBattery, RookSeventhPasser, RookOnEighth, RookMobility, QueenOnEighth;
extern int32_t QueenSeventhBattery, QueenMobility, BishopMobility, BishopTrapped, BadBishopPawn;
extern int32_t BadBishopBlocked, BishopBothWings, FianchettoKing, BlockedPawnBonus, KnightBlockedPawn;
extern int32_t RookOpenFileMg[8], RookOpenFileEg[8], RookHalfOpenMg[8], RookHalfOpenEg[8];
extern int32_t RookOpenFile[8], RookHalfOpen[8];
extern int32_t KnightOutpostMg[64], KnightOutpostEg[64];
extern int32_t KnightOutpostDefendedMg[64], KnightOutpostDefendedEg[64];
extern int32_t KnightOutpostContestedMg[64], KnightOutpostContestedEg[64];
extern int32_t BishopOutpostMg[64], BishopOutpostEg[64];
extern int32_t BishopOutpostDefendedMg[64], BishopOutpostDefendedEg[64];
extern int32_t BishopOutpostContestedMg[64], BishopOutpostContestedEg[64];
extern int32_t KnightOutpost[64], KnightOutpostDefended[64], KnightOutpostContested[64];
extern int32_t BishopOutpost[64], BishopOutpostDefended[64], BishopOutpostContested[64];
// [rook, bishop, queen][the four men it may pin, in the order of PinTargets].
extern int32_t PinSourceMg[3][4], PinSourceEg[3][4];
extern const int PinTargets[3][4];
extern int32_t PinByRook[8], PinByBishop[8], PinByQueen[8]; // by piece code of the pinned man
extern int32_t TrapSquareSource[16];
extern int32_t TrapSquareWeight[64];
extern int32_t KnightTrapStart, KnightTrapFactor, BishopTrapStart, BishopTrapFactor;
extern int32_t KnightTrapCurve[37], BishopTrapCurve[57];
extern int32_t ThreatTableMg[17], ThreatTableEg[17];
extern int32_t ThreatTable[17];
extern int32_t LoosePawnTable[6][6][4];
extern int32_t LoosePawnRank[5], LoosePawnForce[9];
extern int32_t DevelopmentTable[64];
extern int32_t HomePawnsMg[64], HomePawnsEg[64];
extern int32_t CentreBlockMg[3], CentreBlockEg[3];
extern int32_t DevelopmentWeight[6];
extern int32_t PstScale[16];
// The piece-square rows of values.txt; only selftest puts them into the piece-square tables.
extern int32_t PstRowsMg[384], PstRowsEg[384];

// ---- Passed pawns and races ----
extern int32_t PassedMg[8], PassedEg[8];
extern int32_t PassedStateMg[8], PassedStateEg[16];
extern int32_t PassedFileMg[4], PassedFileEg[4];
extern int32_t PassedForceMg[13], PassedForceEg[13];
extern int32_t PassedOwnKing[24], PassedEnemyKing[24];
extern int32_t PassedKingRace[18];
extern int32_t RookBehindPasserMg[64], RookBehindPasserEg[64];
extern int32_t RookBehindBlockedPasserMg[64], RookBehindBlockedPasserEg[64];
extern int32_t RookBehindPasser[64], RookBehindBlockedPasser[64], EnemyRookBehindPasser[64];
extern int32_t KpkWinBonusSource[8];
extern int32_t KpkWinBonus[8];
// Bare, knight, other.
extern int32_t PasserCountSource[3][5];
extern int32_t PasserCountBare[5], PasserCountKnight[5], PasserCountOther[5];
// RaceAhead, RaceCheck, RaceCover, RaceCut, RaceCutB, RaceCutG, RaceAlone, RaceFar.
extern int32_t RaceSource[8][8];
extern int32_t RaceAhead[8], RaceCheck[8], RaceCover[8], RaceCut[8];
extern int32_t RaceCutB[8], RaceCutG[8], RaceAlone[8], RaceFar[8];
extern int32_t RaceLooseMg[9], RaceLooseEg[9], RaceLooseForkMg[9], RaceLooseForkEg[9];
extern int32_t RaceLoose[9], RaceLooseFork[9];
extern int32_t PawnDuelScale, PawnDuelSlope;

// ---- Endgame knowledge ----
extern int32_t KpkWin[6];
extern int32_t RunBase, RunFinal, RunPawn, RunAdvance[6];
extern int32_t RookPawnsCount, RookPawnsAdvance, RookPawnsBase, RookPawnsNear, RookPawnsTwoDraws;
extern int32_t RookPawnsManyDraws, RookPawnsOne, RookPawnsEscorted, RookPawnsLoose;
extern int32_t BareKingBonus, KbnkBase, KbnkScale;
extern int32_t MatingCorner[64];
extern int32_t KnightWingsBehind, KnightWingsAlone, KnightWingsHeavy;
extern int32_t LoneKnightDistance[8];
// Scale factors in 256ths.
extern int32_t OppositeBishopsFar, OppositeBishopsNear, OppositeBishopsMixed, OppositeBishopsRooks;
extern int32_t PawnsBehindKing;
extern int32_t OnePawnFreeBishop, OnePawnStoppedBishop, OnePawnFree, OnePawnStopped;
extern int32_t OnePawnKingAhead, OnePawnKingAside;
extern int32_t ThreePawnsFreeBishop, ThreePawnsNearBishop, ThreePawnsFarBishop, ThreePawnsFree;
extern int32_t ThreePawnsNear, ThreePawnsFar, ThreePawnsKingAhead;
extern int32_t TwoOnOnePawnEnding, TwoOnOnePassed, TwoOnOneHeld;
extern int32_t RookPawnFrontRookFile, RookPawnFrontKnightFile, RookPawnFrontOther, RookPawnNoEscort;
extern int32_t RookPawnCutOff, RookPawnRace, RookPawnNotCut;
extern int32_t NoPawnsEqual, NoPawns12v9, NoPawns5v5, NoPawns6v5, NoPawns8v5BishopEdge, NoPawns8v5Bishop;
extern int32_t NoPawns8v5KnightEdge, NoPawns8v5Knight, NoPawns5v3Bishop, NoPawns5v3Knight;
extern int32_t NoPawns6v3Bishop, NoPawns6v3Bishops, NoPawns6v3Knight, NoPawns3v3, NoPawns6v6, NoPawns8v6;

// Values of values.txt that no term reads but that the range repair still looks at.
extern int32_t SpareKingParams[15];

// ---- Pruning statistics of the search ----
// Per mille of (a / b) of the tuned move statistics: [phase class][piece class][to][from][side].
extern uint32_t PruneRatio[2][4][64][64][2];

// Ranges repaired after reading; prints "fix [n, old to new]; " per value replaced. The counter
// runs on across calls.
extern int FixCounter;
void FixValues();
// The tables that follow from the raw parameters (trap weights and curves, bonus tables, danger
// and pin tables, connected pawns, king-square shelter, storm tables).
void BuildDerivedTables();
void PackEvaluationTables();
// Every raw parameter back to its compiled-in default (for tests; the program never needs it).
void RestoreDefaultParameters();
