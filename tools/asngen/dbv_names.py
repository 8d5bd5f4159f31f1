"""The irregular names of the DBV structures: the protocol module's types
whose structure, field, selector or enumeration names do not follow from the
naming rules of emit_dbv, and the type tags of the EXTERNAL single-ASN1-type
values. Keys are the names of the Z39.50 APDU module (lifted anonymous types
by their lifted name); every other type is named by the rules alone."""

from registrations import OID

# Structure names.
TYPE_NAMES = {
    'PDU': 'DbvPdu',
    'InitializeRequest': 'DbvInitializeReq',
    'InitializeResponse': 'DbvInitializeRsp',
    'IdAuthenticationIdPass': 'DbvIdPassword',
    'SearchRequest': 'DbvSearchReq',
    'SearchResponse': 'DbvSearchRsp',
    'PresentRequest': 'DbvPresentReq',
    'PresentResponse': 'DbvPresentRsp',
    'PresentRequestRecordComposition': 'DbvRecordComposition',
    'DeleteResultSetRequest': 'DbvDeleteResultSetReq',
    'DeleteResultSetResponse': 'DbvDeleteResultSetRsp',
    'ListStatusesItem': 'DbvListStatus',
    'AccessControlRequest': 'DbvAccessControlReq',
    'AccessControlResponse': 'DbvAccessControlRsp',
    'ResourceControlRequest': 'DbvResourceControlReq',
    'ResourceControlResponse': 'DbvResourceControlRsp',
    'TriggerResourceControlRequest': 'DbvTriggerResourceControlReq',
    'ResourceReportRequest': 'DbvResourceReportReq',
    'ResourceReportResponse': 'DbvResourceReportRsp',
    'ScanRequest': 'DbvScanReq',
    'ScanResponse': 'DbvScanRsp',
    'SortRequest': 'DbvSortReq',
    'SortResponse': 'DbvSortRsp',
    'Segment': 'DbvSegmentReq',
    'ExtendedServicesRequest': 'DbvExtendedServicesReq',
    'ExtendedServicesResponse': 'DbvExtendedServicesRsp',
    'RPNStructureRpnRpnOp': 'DbvRpnLopRopOperator',
    'AttributeElementAttributeValue': 'DbvAttributeValue',
    'AttributeElementAttributeValueComplex': 'DbvComplexValue',
    'ProximityOperatorProximityUnitCode': 'DbvProximityUnitCode',
    'NamePlusRecordRecord': 'DbvRecord',
    'DiagRec': 'DbvDiagnostic',
    'DefaultDiagFormatAddinfo': 'DbvAdditionalInfo',
    'ElementSetNamesDatabaseSpecificItem': 'DbvElementSetsDbSpecific',
    'CompSpecDbSpecificItem': 'DbvDbSpecific',
    'SpecificationElementSpec': 'DbvElementSpec',
    'OccurrenceByAttributesItem': 'DbvOccurrenceByAttributes',
    'OccurrenceByAttributesItemOccurrences': 'DbvOccurrence',
    'OccurrenceByAttributesItemOccurrencesByDatabaseItem': 'DbvByDatabase',
    'OtherInformationItem': 'DbvOtherInformation',
    'IntUnit': 'DbvIntegerAndUnit',
}

# Base names (the part after the prefix) of components with the same name in
# every protocol type.
COMPONENT_BASES = {
    'otherInfo': 'OtherInformation',
    'attributeSet': 'AttributeSetId',
    'attributes': 'AttributeElement',
}

# Field names by (type, component): a name starting with a capital is a base
# name that gets the prefix of its representation; a whole name also fixes
# the representation where its prefix tells one (s inline, ps pointer).
FIELD_NAMES = {
    ('InitializeRequest', 'exceptionalRecordSize'): 'MaxmiumMessageSize',
    ('InitializeRequest', 'idAuthentication'): 'Authentication',
    ('InitializeResponse', 'exceptionalRecordSize'): 'MaxmiumMessageSize',
    ('SearchRequest', 'smallSetElementSetNames'): 'SmallSetElementNames',
    ('SearchRequest', 'mediumSetElementSetNames'): 'MediumSetElementNames',
    ('SearchRequest', 'query'): 'psQuery',
    ('RPNQuery', 'rpn'): 'RpnStructure',
    ('RPNStructureRpnRpnOp', 'rpn1'): 'psLeftOperand',
    ('RPNStructureRpnRpnOp', 'rpn2'): 'psRightOperand',
    ('RPNStructureRpnRpnOp', 'op'): 'Operator',
    ('ResultSetPlusAttributes', 'resultSet'): 'ResultSetId',
    ('AttributeElementAttributeValueComplex', 'semanticAction'): 'SemanticAction',
    ('ProximityOperator', 'relationType'): 'ProximityRelationType',
    ('ScanRequest', 'termListAndStartPoint'): 'AttributesPlusTerm',
    ('ListEntries', 'entries'): 'Entry',
    ('ListEntries', 'nonsurrogateDiagnostics'): 'NonSurrogateDiagnostics',
    ('TermInfo', 'suggestedAttributes'): 'SuggestedAttribute',
    ('TermInfo', 'otherTermInfo'): 'OtherInformation',
    ('OccurrenceByAttributesItem', 'occurrences'): 'Occurrence',
    ('OccurrenceByAttributesItem', 'otherOccurInfo'): 'OtherInformation',
    ('OccurrenceByAttributesItemOccurrencesByDatabaseItem', 'db'): 'DatabaseName',
    ('OccurrenceByAttributesItemOccurrencesByDatabaseItem', 'num'): 'Number',
    ('OccurrenceByAttributesItemOccurrencesByDatabaseItem', 'otherDbInfo'): 'OtherInformation',
    ('NamePlusRecord', 'name'): 'DatabaseName',
    ('DefaultDiagFormat', 'addinfo'): 'sAdditionalInfo',
    ('ElementSetNamesDatabaseSpecificItem', 'dbName'): 'psDatabaseName',
    ('ElementSetNamesDatabaseSpecificItem', 'esn'): 'pspsElementSetName',
    ('CompSpecDbSpecificItem', 'db'): 'DatabaseName',
    ('CompSpecDbSpecificItem', 'spec'): 'Specification',
    ('DeleteResultSetResponse', 'deleteOperationStatus'): 'DeleteOperationStatus',
    ('ListStatusesItem', 'id'): 'ResultSetId',
    ('ListStatusesItem', 'status'): 'DeleteSetStatus',
    ('OtherInformationItem', 'category'): 'InfoCategory',
    ('IntUnit', 'unitUsed'): 'UnitUsed',
}

# Choices: selector and union names (union None: the members stand in the
# structure itself), enumeration prefix, and per alternative the member word,
# the field name and, where it is not the position from 1, the value.
CHOICES = {
    'PDU': ('ePduType', 'uPdu', 'DPT', {}),
    'IdAuthentication': ('eAuthenticationType', 'uAuthentication', 'AUTH', {
        'open': ('Open', 'psOpen'), 'idPass': ('IdPassword', 'psIdPassword'),
        'anonymous': ('Anonymous', None), 'other': ('Other', 'psOther')}),
    'Query': ('eQueryType', 'uQuery', 'QT', {
        'type-0': ('Private', 'psPrivateQuery'), 'type-1': ('Rpn', 'psRpnQuery'),
        'type-2': ('Iso8777', 'psIso8777Query'), 'type-100': ('Z3958', 'psZ3958Query'),
        'type-101': ('Erpn', 'psErpnQuery'), 'type-102': ('NaturalLanguage', 'psNaturalLanguageQuery'),
        'type-104': ('Sql', 'psSQLQuery')}),
    'RPNStructure': ('eRpnStructureType', 'uRPNStructure', 'RST', {
        'op': ('RpnOperand', 'psRpnOperand', 2), 'rpnRpnOp': ('RpnLopRopOperator', 'psRpnLopRopOperator', 1)}),
    'Operand': ('eOperandType', 'uOperand', 'OPD', {
        'attrTerm': ('AttributesPlusTerm', 'psAttributesPlusTerm'), 'resultSet': ('ResultSetId', 'psResultSetId'),
        'resultAttr': ('ResultSetPlusAttributes', 'psResultSetPlusAttributes')}),
    'Term': ('eTermType', 'uTerm', 'TT', {
        'general': ('General', 'psGeneral'), 'numeric': ('Numeric', 'ulNumeric'),
        'characterString': ('SimpleCharacter', 'psSimpleCharacter'), 'oid': ('ObjectIdentifier', 'pcObjectIdentifier'),
        'dateTime': ('DateTime', 'pcDateTime'), 'external': ('External', 'psExternal'),
        'integerAndUnit': ('IntegerAndUnit', 'psIntegerAndUnit'), 'null': ('Null', None)}),
    'Operator': ('eOperatorType', None, 'OPR', {
        'and': ('And', None, 2), 'or': ('Or', None, 1), 'and-not': ('AndNot', None, 3),
        'prox': ('Prox', 'psProximityOperator', 4)}),
    'AttributeElementAttributeValue': ('eAttributeValueType', 'uAttributeValue', 'AVT', {
        'numeric': ('Numeric', 'ulNumeric'), 'complex': ('Complex', 'psComplexValue')}),
    'ProximityOperatorProximityUnitCode': ('eProximityUnitType', 'uProximityUnit', 'PUT', {
        'known': ('Known', 'eKnownProximityUnit'), 'private': ('Private', 'ulPrivate')}),
    'PresentRequestRecordComposition': ('eRecordCompositionType', 'uRecordComposition', 'RCT', {
        'simple': ('ElementSetNames', 'psElementSetNames'), 'complex': ('CompSpec', 'psCompSpec')}),
    'Records': ('eRecordsType', 'uRecords', 'RT', {
        'responseRecords': ('Response', 'ppsResponseRecords'),
        'nonSurrogateDiagnostic': ('NonSurrDiagnostics', 'psNonSurrogateDiagnostic'),
        'multipleNonSurDiagnostics': ('MultipleNonSurrDiagnostics', 'ppsMultipleNonSurDiagnostics')}),
    'NamePlusRecordRecord': ('eRecordType', 'uRecord', 'DRT', {
        'retrievalRecord': ('Retrieval', 'psRetrievalRecord'),
        'surrogateDiagnostic': ('SurrogateDiagnostics', 'psSurrogateDiagnostic'),
        'startingFragment': ('StartingFragment', 'psStartingFragment'),
        'intermediateFragment': ('IntermediateFragment', 'psIntermediateFragment'),
        'finalFragment': ('FinalFragment', 'psFinalFragment')}),
    'FragmentSyntax': ('eFragmentSyntaxType', 'uFragmentSyntax', 'FST', {
        'externallyTagged': ('ExternallyTagged', 'psExternallyTagged'),
        'notExternallyTagged': ('NotExternallyTagged', 'psNotExternallyTagged')}),
    'DiagRec': ('eDiagnosticsType', 'uDiagnostics', 'DT', {
        'defaultFormat': ('DefaultFormat', 'psDefault'), 'externallyDefined': ('ExternallyDefined', 'psExternallyDefined')}),
    'DefaultDiagFormatAddinfo': ('eProtocolVersionInForce', 'uAdditionalInfo', 'PVIF', {
        'v2Addinfo': ('Version2', 'pcV2'), 'v3Addinfo': ('Version3', 'psV3')}),
    'ElementSetNames': ('eElementSetType', 'uElementSet', 'EST', {
        'genericElementSetName': ('Generic', 'psGeneric'),
        'databaseSpecific': ('DatabaseSpecific', 'ppsElementSetsDbSpecific')}),
    'SpecificationElementSpec': ('eElementSpecType', 'uElementSpec', 'EST', {
        'elementSetName': ('Primitive', 'psPrimitive'), 'externalEspec': ('External', 'psExternal')}),
    'Entry': ('eEntryType', 'uEntry', 'ET', {
        'termInfo': ('TermInfo', 'psTermInfo'), 'surrogateDiagnostic': ('SurrogateDiagnostic', 'psSurrogateDiagnostic')}),
    'OccurrenceByAttributesItemOccurrences': ('eOccurrenceType', 'uOccurrence', 'OT', {
        'global': ('Global', 'ulGlobal'), 'byDatabase': ('ByDatabase', 'ppsByDatabase')}),
    'OtherInformationItemInformation': ('eInformationType', 'uInformation', 'IT', {
        'characterInfo': ('CharacterInfo', 'psCharacterInfo'), 'binaryInfo': ('BinaryInfo', 'psBinaryInfo'),
        'externallyDefinedInfo': ('ExternalInfo', 'psExternallyDefinedInfo'),
        'oid': ('ObjectIdentifier', 'pcObjectIdentifier')}),
    'StringOrNumeric': ('eStringOrNumeric', 'uStringOrNumeric', 'SON', {
        'string': ('String', 'psString'), 'numeric': ('Numeric', 'ulNumeric')}),
}

# Choice alternatives whose DBV value is not the codec's: an open value
# (ANY) that holds the BER element of an EXTERNAL, which DBV gives as the
# External; and an EXTERNAL that carries a structure of another module as
# its single-ASN1-type value under an identifier of its own, which DBV gives
# as that structure: (module name contains, type name, identifier sent).
OPEN_EXTERNALS = {('Query', 'type-0')}
CARRIED = {('Query', 'type-104'): ('SQL', 'SQLQuery', OID['QUERY_SQL'])}

# Choice components whose selector and union stand in the enclosing
# structure itself, without a field of their own.
EMBEDDED = {('OtherInformationItem', 'information')}

# Enumerations of INTEGERs with named numbers: by type name, or by (type,
# component) for an inline one; the prefix and the irregular member words.
ENUMS = {
    'PresentStatus': ('PS', {}),
    'CloseReason': ('CR', {'shutdown': 'ShutDown'}),
    'KnownProximityUnit': ('KPU', {'subelement': 'SubElement'}),
    'DeleteSetStatus': ('DSS', {'notAllRsltSetsDeletedOnBulkDlte': 'NotAllSetsDeletedOnBulkDlt',
                                'notAllRequestedResultSetsDeleted': 'NotAllRequestedSetsDeleted'}),
    ('SearchResponse', 'resultSetStatus'): ('RSS', {}),
    ('ScanResponse', 'scanStatus'): ('SCS', {}),
    ('ProximityOperator', 'relationType'): ('PRT', {}),
    ('SortResponse', 'sortStatus'): ('SOS', {}),
    ('SortResponse', 'resultSetStatus'): ('SRSS', {}),
    ('ExtendedServicesResponse', 'operationStatus'): ('ESOS', {'accepted': 'Queued'}),
    ('ResourceReportResponse', 'resourceReportStatus'): ('RRS', {}),
}

# The type tags of the single-ASN1-type value of an EXTERNAL: (member, value,
# union member, identifier sent). The generated type behind each is the one
# that the registration groups install under that identifier.
ASN1_TYPES = [
    ('AT_UnstructuredText', 1, 'psUnstructuredText', OID['SYNTAX_SUTRS']),
    ('AT_OpacRecord', 2, 'psOpacRecord', OID['SYNTAX_OPAC']),
    ('AT_SummaryRecord', 3, 'psSummaryRecord', OID['SYNTAX_SUMMARY']),
    ('AT_ResourceReport1', 4, 'psResourceReport1', OID['RESOURCE1']),
    ('AT_ResourceReport2', 5, 'psResourceReport2', OID['RESOURCE2']),
    ('AT_EsTaskPackage', 6, 'psEsTaskPackage', OID['SYNTAX_ES']),
    ('AT_UpdateExtendedService', 7, 'psUpdateExtendedService', OID['ES_UPDATE']),
    ('AT_ItemOrderExtendedService', 9, 'psItemOrderExtendedService', OID['ES_ITEMORDER']),
    ('AT_IllPdu', 10, 'psIllPdu', OID['ILL_APDU']),
    ('AT_ExplainRecord', 12, 'psExplainRecord', OID['SYNTAX_EXPLAIN']),
    ('AT_GenericRecord', 13, 'psGenericRecord', OID['SYNTAX_GRS1']),
    ('AT_PromptObject', 14, 'psPromptObject', OID['PROMPT1']),
    ('AT_Print', 15, 'psPrintExtendedService', OID['ES_PRINT']),
    ('AT_Alert', 16, 'psAlertExtendedService', OID['ES_ALERT']),
    ('AT_Corder', 17, 'psCOrder', OID['ES_CORDER']),
    ('AT_CharSetAndLanguage', 18, 'psCharSetAndLanguage', OID['NEGOT_CHARSET']),
    ('AT_ExportSpecification', 19, 'psExpSpecExtendedService', OID['ES_EXPORTSPEC']),
    ('AT_ExportInvocation', 20, 'psExpInvoExtendedService', OID['ES_EXPORTINV']),
    ('AT_UserInfoSearchResult1', 21, 'psUserInfoSearchResult1', OID['USERINFO_SEARCHRESULT1']),
    ('AT_SQLResult', 22, 'psSQLResult', OID['SYNTAX_SQL_RS']),
    ('AT_CipBItemOrderExtendedService', 23, 'psCipBItemOrderExtendedService', OID['ES_CIP_ITEMORDER']),
    ('AT_CIPSpecificInfo', 24, 'psCIPSpecificInfo', OID['CIP_SPECIFIC']),
]
# A single-ASN1-type value whose identifier is not a structured one: kept as
# the BER octets of the value.
ASN1_RAW = ('AT_RawEncoding', 0, 'psRawEncoding')
